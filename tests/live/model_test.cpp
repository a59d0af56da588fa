// What the screen is made from, without a terminal.
#include "live/frame.h"
#include "live/log_view.h"
#include "live/settings.h"

#include <gtest/gtest.h>

#include <clocale>
#include <csignal>

#include <unistd.h>

namespace zanctl::live {
namespace {

using collector::Gpu;
using collector::GpuState;
using collector::Snapshot;

Gpu gpu(std::uint32_t index, GpuState state = GpuState::up) {
  Gpu made;
  made.index = index;
  made.state = state;
  made.uuid = "GPU-" + std::to_string(index);
  if (state == GpuState::up) {
    made.readings.identity.name = "KV100";
    made.readings.power.usage = 200;
    made.readings.power.boardUsage = 390;
    made.readings.power.boardLimit = 500;
    made.readings.board = {7 + index / 2, index % 2};
  }
  return made;
}

Snapshot snapshot(std::vector<Gpu> gpus, std::int64_t second = 0) {
  Snapshot made;
  made.library = collector::LibraryState::running;
  made.gpus = std::move(gpus);
  made.startedAt = second * 1000;
  return made;
}

class NoProcesses : public HostProcesses {
 public:
  const HostFacts* look(std::uint32_t pid) override {
    ++looks;
    if (pid == 13) return nullptr;
    facts.command = "program-" + std::to_string(pid);
    facts.cpuPercent = pid;
    return &facts;
  }
  HostFacts facts;
  int looks = 0;
};

TEST(Model, CountsTheBoardsPowerOnceAndKeepsWhatIsLost) {
  Model model;
  model.take(snapshot({gpu(0), gpu(1), gpu(2, GpuState::silent)}, 100));
  EXPECT_EQ(390, model.totals().powerUsed);
  EXPECT_EQ("-", powerText(model.gpus()[1].readings));
  EXPECT_EQ("LOST since before the start", conditionText(model.gpus()[2]));

  model.take(snapshot({gpu(0, GpuState::hung), gpu(1)}, 160));
  ASSERT_EQ(3U, model.gpus().size()) << "a GPU that the library lists no more stays";
  EXPECT_EQ(160, model.gpus()[0].since);
  EXPECT_EQ("KV100", nameText(model.gpus()[0].readings));
  EXPECT_FALSE(isKnown(model.gpus()[0].history.last(Series::power, 1)[0]));

  Gpu late = gpu(1, GpuState::unasked);
  model.take(snapshot({gpu(0), late}, 161));
  EXPECT_EQ(GpuCondition::up, model.gpus()[1].condition) << "nothing is known of it in this round";
}

TEST(Model, SelectsByIndexUuidAndBusId) {
  Gpu third = gpu(2);
  third.readings.identity.pciBusId = "00000000:1E:00.0";
  Model model(GpuSelection("0x1,1e:0.0,GPU-4"));
  model.take(snapshot({gpu(0), gpu(1), third, gpu(3), gpu(4)}));
  ASSERT_EQ(3U, model.gpus().size());
  EXPECT_EQ(4U, model.gpus()[2].index);
}

std::vector<ProcessRow> rows(std::initializer_list<std::uint32_t> pids) {
  std::vector<ProcessRow> made;
  for (const std::uint32_t pid : pids) made.emplace_back().pid = pid;
  return made;
}

TEST(ProcessTable, AsksTheHostOnlyWhenTheOrderNeedsIt) {
  NoProcesses host;
  const auto processes = rows({20, 10, 13, 30});
  TableOrder order;
  EXPECT_EQ(10U, tableRows(processes, order, host)[0]->pid);
  EXPECT_EQ(0, host.looks);
  order.sort = Column::cpu;
  const TableRows sorted = tableRows(processes, order, host);
  EXPECT_EQ(30U, sorted[0]->pid);
  EXPECT_EQ(13U, sorted[3]->pid) << "what is not known comes last";
  order.reverse = true;
  EXPECT_EQ(13U, tableRows(processes, order, host)[3]->pid);
  order.filter = "PROGRAM-2";
  EXPECT_EQ(1U, tableRows(processes, order, host).size());
}

TEST(Signals, ReachNoOtherProcessOfTheSameId) {
  const auto self = static_cast<std::uint32_t>(getpid());
  const std::uint64_t started = startTicksOf(self).value();
  EXPECT_EQ("", signalProcess(self, started, 0));
  EXPECT_EQ(std::to_string(self) + " is another process by now",
            signalProcess(self, started + 1, SIGKILL));
}

TEST(Layout, NothingOverlapsOrLiesOutsideAtAnySize) {
  for (int width = 40; width <= 240; width += 7) {
    for (int height = 12; height <= 80; height += 3) {
      for (const std::size_t gpus : {0U, 1U, 4U, 8U, 64U}) {
        for (const std::size_t rows : {0U, 3U, 100U}) {
          const OverviewLayout all = layoutOverview({width, height}, gpus, rows);
          ASSERT_EQ(all.head.bottom(), all.gpus.y);
          ASSERT_EQ(all.gpus.bottom(), all.processes.y);
          ASSERT_EQ(all.processes.bottom(), all.foot.y);
          ASSERT_GE(all.processes.height, 1);
          ASSERT_TRUE(gpus == 0 || all.gpusShown > 0);
          const DetailLayout one = layoutDetail({width, height}, 26, rows);
          ASSERT_LE(one.processes.bottom(), one.foot.y);
          ASSERT_GE(one.processes.height, 1);
          const LogLayout log = layoutLog({width, height}, gpus);
          ASSERT_EQ(log.graphs.bottom(), log.axis.y);
          ASSERT_GE(log.graphs.height, 2);
        }
      }
    }
  }
}

TEST(Surface, LetsNoTextSteerTheTerminalOrLeaveItsPlace) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  Grid grid({6, 2}, Charset::unicode);
  grid.put(0, 0, "\x1b[2J\xff");
  grid.put(4, 1, "漢字");
  grid.put(5, 1, "字");
  EXPECT_EQ("?[2J?\n    漢\n", grid.text());
  EXPECT_EQ("?b", fitText("äb", 9, Charset::ascii).text);
}

TEST(Graph, ScalesByItsRangeAndLeavesGaps) {
  const std::vector<float> values = {0, 25, kNoValue, 100, 400};
  EXPECT_EQ((std::vector<std::string>{"   ##", " : ##"}),
            drawGraph(values, 100, 5, 2, GraphKind::ascii));
  EXPECT_EQ((std::vector<std::string>{" ▂ ██"}), drawGraph(values, 100, 5, 1, GraphKind::block));
  EXPECT_EQ("##", drawBar(0.5F, 4, GraphKind::ascii).filled);
}

TEST(Settings, AreReadAsTheyAreWritten) {
  Settings kept;
  kept.sort = Column::memory;
  kept.hidden = bitOf(Column::user) | bitOf(Column::time);
  kept.graph = GraphKind::block;
  kept.interval = Interval(200);
  Settings read;
  EXPECT_EQ("", readSettings(writeSettings(kept), read));
  EXPECT_EQ(kept, read);
  for (const char* broken :
       {"sort", "sort = size", "interval = 0.1", "interval = 61", "hide = pid", "graph = dots"}) {
    EXPECT_EQ("line 1 is no setting", readSettings(broken, read)) << broken;
  }
  EXPECT_EQ(kept, read);
}

TEST(LogData, TakesLinesInAnyPiecesAndCountsBrokenOnes) {
  const std::string text =
      std::string(kStatsHeader1) + "\n" +
      " 10:00:00     0   397    69     -    85    48     0    31  1200  1417\n"
      " 10:00:00     2     -    64     -    86    47    12    40  1200  1426\n" +
      std::string(300, 'x') + "\nshort\n" +
      " 10:00:05     2     -    65     -    87    47    12    40  1200  1426\n";
  for (const std::size_t piece : {1U, 7U, 1000U}) {
    LogData data(GpuSelection(), {});
    for (std::size_t at = 0; at < text.size(); at += piece)
      data.add(std::string_view(text).substr(at, piece));
    EXPECT_EQ(2U, data.brokenLines());
    ASSERT_EQ(2U, data.moments().size());
    EXPECT_EQ(397, data.value(0, LogSeries::power, 0));
    EXPECT_FALSE(isKnown(data.value(0, LogSeries::power, 1)));
    EXPECT_EQ(87, data.value(1, LogSeries::sm, 1));
  }
}

}  // namespace
}  // namespace zanctl::live
