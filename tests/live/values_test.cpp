// Every value has its own place on the screens, in its unit. No two of them are alike.
#include "live/frame.h"
#include "live/log_view.h"

#include <gtest/gtest.h>

#include <ctime>
#include <sstream>

#include <pwd.h>
#include <unistd.h>

namespace zanctl::live {
namespace {

collector::Gpu busyGpu() {
  constexpr std::uint64_t kGiB = 1ULL << 30U;
  collector::Gpu gpu;
  gpu.state = collector::GpuState::up;
  gpu.readings.identity = {"KV101", "S1", "P1", "00000011:41:09.0", 5, "F1"};
  gpu.readings.board = {33, 0};
  gpu.readings.temperature = {51, 41, 111, 101, 91, 11};
  gpu.readings.power = {71, 261, 251, 301, 501, 0.11, 1.31, 12.21};
  gpu.readings.clock = {1401, 1211, 1501, 1311, 1, 4, 19'000'000'000, 17'000'000'000};
  gpu.readings.utilization = {81, 61, 21, 31};
  gpu.readings.engines = {{1, 2}, {41, 43}, 100};
  gpu.readings.memory = {31 * kGiB, 7 * kGiB, 1, 0, 141, 151};
  gpu.readings.pcie = {2, 5, 4, 32};
  gpu.readings.vgpuCount = 6;
  return gpu;
}

Model modelOf(std::vector<collector::Gpu> gpus) {
  collector::Snapshot snapshot;
  for (std::uint32_t i = 0; i < gpus.size(); ++i) gpus[i].index = i;
  snapshot.gpus = std::move(gpus);
  Model model;
  model.take(snapshot);
  return model;
}

class NoHost : public HostProcesses {
  const HostFacts* look(std::uint32_t /*pid*/) override { return nullptr; }
};

TEST(Values, StandInTheDetails) {
  const Model model = modelOf({busyGpu()});
  std::istringstream expected(R"(Serial: S1
Firmware: F1
Board: 0x21, GPU 0
Temperature: 51C
Slowdown at: 101C
Shutdown at: 111C
Board temp.: 41C
Fan: 11%
Power: 71W of 261W
Board power: 301/501W
Voltages: 0.11V 1.31V 12.21V
SM clock: 1401/1501MHz
Memory clock: 1211/1311MHz
State: P1
Throttled: yes (0x4)
Held by power: 19.0s
Held by heat: 17.0s
Memory: 7.0G/31.0G
SM, memory: 81%, 61%
Enc., decoder: 21%, 31%
Video engines: 41% 43%
ECC: on, after reset off
Retired pages: 141 single, 151 double
PCIe: 2 x4 of 5 x32
vGPUs: 6)");
  std::string all;
  for (const auto& [label, text, style] : detailValues(model.gpus()[0])) {
    all += std::string(label) + ": " + text + "\n";
  }
  for (std::string line; std::getline(expected, line);) {
    EXPECT_NE(all.find("\n" + line), std::string::npos) << line << " in\n" << all;
  }
}

// Three GPUs have room for blocks, or for lines only.
TEST(Values, StandInLinesAndBlocks) {
  const Model model = modelOf({busyGpu(), busyGpu(), busyGpu()});
  NoHost host;
  const Circumstances circumstances;
  for (const auto& [height, parts] : std::map<int, std::vector<std::string>>{
           {40,
            {"KV101 00000011:41:09.0", "throttled (0x4)", "temp  51C of 101C", "power 301/501W",
             "fan   11%", "pages 141+151", "SM    1401MHz", "mem   1211MHz", "state P1", "ECC   on",
             " 81%", " 61%", " 7.0G/31.0G", " 21%", " 31%"}},
           {12,
            {" 00000011:41:09.0   51C  11%  301/501W  P1  1401MHz #", " 81% #",
             " 7.0G/31.0G  61%  21%  31% ", ": TREL"}}}) {
    const Size size = {200, height};
    View view;
    Grid grid(size, Charset::ascii);
    drawFrame(grid, prepareFrame(model, view, host, size, circumstances));
    for (const std::string& part : parts) {
      EXPECT_NE(grid.text().find(part), std::string::npos) << part << " on\n" << grid.text();
    }
  }
}

TEST(Values, AreAddedUpWhereBothFiguresAreKnown) {
  auto halfKnown = busyGpu();
  halfKnown.readings.power.boardUsage.reset();
  halfKnown.readings.memory.used.reset();
  auto ownPower = busyGpu();
  ownPower.readings.board = {};
  const Totals totals = modelOf({busyGpu(), halfKnown, ownPower}).totals();
  EXPECT_EQ(301U + 71U, totals.powerUsed);
  EXPECT_EQ(501U + 261U, totals.powerLimit);
  EXPECT_EQ("14.0G/62.0G", bytesText(*totals.memoryUsed) + "/" + bytesText(*totals.memoryTotal));
}

TEST(Values, ChangeTheirUnitsAtTheirBounds) {
  std::string text;
  for (const std::uint64_t bytes :
       {0U, 1024U, (1U << 20U) - 1, 1U << 20U, (1U << 30U) - 1, 1U << 30U}) {
    text += bytesText(bytes) + " ";
  }
  for (const std::uint64_t seconds : {59U, 60U, 3605U, 86'399U, 86'400U, 273'600U}) {
    text += durationText(seconds) + " ";
  }
  EXPECT_EQ("0 1K 1023K 1M 1023M 1.0G 59s 0:01:00 1:00:05 23:59:59 1d00h 3d04h ", text);
  std::vector<Style> styles;
  collector::Temperatures temperature = {84, {}, {}, 95, {}, {}};
  for (; *temperature.gpu <= 95; ++*temperature.gpu)
    styles.push_back(temperatureStyle(temperature));
  std::vector<Style> expected(12, Style::warning);
  expected.front() = Style::plain;
  expected.back() = Style::bad;
  EXPECT_EQ(expected, styles);
}

TEST(Remarks, NameWhatIsWrongAndNothingElse) {
  auto gpu = busyGpu();
  gpu.readings.temperature.gpu = 101;
  std::string all;
  for (const Remark& remark : remarksOn(gpu.readings))
    all += remark.code + (" " + remark.text) + "\n";
  EXPECT_EQ(
      "H hot: slows down at 101C\nT throttled (0x4)\nR retired pages 141+151\n"
      "E ECC off from the next reset\nL PCIe x4 of x32\n",
      all);
  gpu.readings.temperature.gpu = 90;
  gpu.readings.clock.throttleReasons = 0;
  gpu.readings.memory = {1, 1, 1, 1, 0, 0};
  gpu.readings.pcie.width = 32;
  EXPECT_EQ("", codesOf(remarksOn(gpu.readings)));
}

TEST(History, KeepsTheNewestOfItsCapacity) {
  History history;
  for (std::size_t i = 0; i < History::kCapacity + 3; ++i) {
    const auto value = static_cast<float>(i);
    history.add({value, value + 0.25F, value + 0.5F, value + 0.75F});
  }
  const float newest = History::kCapacity + 2;
  EXPECT_EQ((std::vector<float>{newest - 1, newest}), history.last(Series::use, 2));
  EXPECT_EQ(3.75F, history.last(Series::power, History::kCapacity)[0]);
  EXPECT_FALSE(isKnown(history.last(Series::memory, History::kCapacity + 1)[0]));
}

TEST(LogData, HasEverySeriesOfTheGpusAndTimesChosen) {
  LogData data(GpuSelection("1"), {36'000, 36'010});
  for (const char* start : {"09:59:59 1", "10:00:00 1", "10:00:05 0", "10:00:10 1", "10:00:11 1"}) {
    data.add(std::string(start) + " 44 43 - 41 42 45 46 48 47\n");
  }
  EXPECT_EQ((std::vector<TimeOfDay>{36'000, 36'010}), data.moments());
  EXPECT_EQ((std::vector<std::uint32_t>{1}), data.gpus());
  for (std::size_t series = 0; series < kLogSeries; ++series) {
    EXPECT_EQ(41 + series, data.value(0, static_cast<LogSeries>(series), 1)) << series;
  }
  EXPECT_EQ(0U, data.momentAt(0));
  EXPECT_EQ(1U, data.momentAt(36'001));
  EXPECT_EQ(1U, data.momentAt(86'399));
}

TEST(LogData, IsOverlookedByItsGreatestValuesWithoutBridgingLongPauses) {
  LogData data(GpuSelection(), {});
  // The pause before the last sample is longer than any between two samples may be.
  for (const char* sample : {"10:00:00 0 10", "10:10:00 0 30", "10:12:00 0 20", "10:40:00 0 40"}) {
    data.add(std::string(sample) + " 50 - 0 0 0 0 0 0\n");
  }
  std::string shown;
  for (const float value : data.overview(0, LogSeries::power, 9)) {
    shown += isKnown(value) ? std::to_string(static_cast<int>(value)) + " " : "- ";
  }
  EXPECT_EQ("10 10 30 - - - - - 40 ", shown);
  EXPECT_EQ(2U, data.stretchOf(2, 9));
  EXPECT_EQ(40, data.greatest(LogSeries::power));
}

TEST(LogView, GoesWhereEachKeySends) {
  LogData data(GpuSelection(), {});
  for (int minute = 8 * 60; minute <= 12 * 60; minute += 30) {
    for (const char* gpu : {" 0", " 1"}) {
      data.add(timeText(static_cast<TimeOfDay>(minute * 60)) + gpu + " 70000 50 - 0 0 0 0 0 0\n");
    }
  }
  EXPECT_EQ(65'534, data.value(0, LogSeries::power, 0)) << "as much as there is room for";
  const LogLayout layout = layoutLog({80, 24}, 2);
  LogView view;
  view.moment = 4;
  std::string visited;
  for (const KeyCode key :
       {KeyCode::left, KeyCode::pageUp, KeyCode::pageUp, KeyCode::right, KeyCode::up, KeyCode::down,
        KeyCode::pageDown, KeyCode::end, KeyCode::home, KeyCode::left, KeyCode::tab,
        KeyCode::backTab, KeyCode::backTab}) {
    press(view, {key, 0, 0, 0}, data, layout);
    visited += timeText(data.moments()[view.moment]).substr(0, 5) + "/" + std::to_string(view.gpu);
    visited += view.follows ? "! " : " ";
  }
  EXPECT_EQ(
      "09:30/0 08:30/0 08:00/0 08:30/0 08:00/0 08:30/0 09:30/0 12:00/0! 08:00/0 08:00/0 08:00/1 "
      "08:00/0 08:00/1 ",
      visited);
}

struct Hosts : HostProcesses {
  const HostFacts* look(std::uint32_t pid) override { return pid == 5 ? nullptr : &facts.at(pid); }
  std::map<std::uint32_t, HostFacts> facts;
};

// Each column puts four processes in an order of its own; what is not known comes last.
TEST(ProcessTable, IsSortedByEveryColumnAndFilteredByItsTexts) {
  Hosts host;
  host.facts = {{2, {0, "carl", "/bin/D", 30, 20, 10}},
                {3, {0, "anna", "/bin/b", 10, 30, 20}},
                {4, {0, "BERT", "/bin/C", 20, 10, 30}}};
  std::vector<ProcessRow> processes(4);
  for (std::uint32_t i = 0; i < 4; ++i) processes[i].pid = 5 - i;
  processes[1].gpu = 1;
  processes[2].servesVgpu = true;
  processes[3].memoryUsed = 1;
  processes[2].memoryUsed = 2;
  processes[1].use = 7;
  std::string orders;
  const auto note = [&](const TableOrder& order) {
    for (const ProcessRow* row : tableRows(processes, order, host)) {
      orders += std::to_string(row->pid);
    }
    orders += " ";
  };
  for (std::size_t column = 0; column < kColumnCount; ++column) {
    note({static_cast<Column>(column), false, "", {}});
    note({static_cast<Column>(column), true, "", {}});
  }
  for (const char* filter : {"AN", "ert", "bin/c", "5", "nobody"})
    note({Column::pid, false, filter, {}});
  note({Column::pid, false, "", 1});
  EXPECT_EQ(
      "2354 4235 2345 5432 3425 2435 2543 3254 3254 2354 4235 4235 2435 3425 3245 4235 4325 2345 "
      "3425 2435 3 4 4 5  4 ",
      orders);
}

TEST(ProcFiles, TellOfThisProcess) {
  const auto self = static_cast<std::uint32_t>(getpid());
  ProcFiles processes;
  processes.nextRound();
  const HostFacts before = *processes.look(self);
  while (std::clock() < CLOCKS_PER_SEC / 4) {
  }
  processes.nextRound();
  const HostFacts facts = *processes.look(self);
  EXPECT_EQ(startTicksOf(self), facts.startTicks);
  EXPECT_EQ(getpwuid(geteuid())->pw_name, facts.user);
  EXPECT_NE(facts.command.find("live_test"), std::string::npos);
  EXPECT_TRUE(facts.memory > 1'000'000 && facts.memory < 1'000'000'000) << facts.memory;
  EXPECT_TRUE(facts.cpuPercent > 1 && facts.cpuPercent <= 150) << facts.cpuPercent;
  EXPECT_LT(facts.seconds, 600U);
  EXPECT_EQ(before.startTicks, facts.startTicks);
  EXPECT_EQ(nullptr, processes.look(4'000'000));
}

}  // namespace
}  // namespace zanctl::live
