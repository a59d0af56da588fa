// The scrolling monitors and the statistics on whole machines.
#include "support/host.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <sstream>

namespace zanctl {
namespace {

std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// A board of two whose engines are busy, a GPU of its own, and one that is lost after 2 seconds.
std::string fourGpus() {
  return machineOf(R"(
    {"count": 2, "board": {"id": 1, "position": 0, "power_usage": 310}, "temperature": 61, "power_usage": 71,
     "utilization": {"gpu": 97, "memory": 41, "encoder": 5, "decoder": 6},
     "clocks": {"sm": 1410, "memory": 1215}, "jpu": {"engines": 2, "busy": 50},
     "vpu": {"engines": 3, "total": 1000, "busy": 125}},
    {"board": "unavailable", "power_usage": 70, "temperature": "unavailable", "utilization": "unavailable",
     "clocks": "unavailable", "jpu": "unavailable", "vpu": "unavailable"},
    {"board": {"id": 2, "position": 1}, "temperature": 30, "power_usage": 40,
     "utilization": {"gpu": 1, "memory": 2, "encoder": 3, "decoder": 4}, "clocks": {"sm": 5, "memory": 6},
     "jpu": "unavailable", "vpu": "unavailable"})",
                   R"("lost": [{"gpu": 3, "after": 2}])");
}

constexpr const char* kHeader =
    "#gpu   pwr gtemp mtemp    sm   mem   enc   dec  mclk  pclk\n"
    "#Idx     W     C     C     %     %     %     %   MHz   MHz\n";

TEST(DeviceMonitorCommand, printsALineAGpuAndPass) {
  Host host = Host::described(fourGpus());
  const std::string line = "61     -    97    41     5     6  1215  1410\n";
  const std::string boards = "   0   310    " + line + "   1   310    " + line;
  const std::string own = "   2    70     -     -     0     0     0     0     0     0\n";
  Outcome run = host.run("dmon -c 1");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, kHeader + boards + own +
                         "   3     -    30     -     1     2     3     4     6     5\n");
  EXPECT_EQ(host.callCounts()["zanmlDeviceGetBoardPowerUsage"], 2) << "boards 1 and 2";
  EXPECT_EQ(host.callCounts()["zanmlDeviceGetJpuUtilization"], 0);
  run = host.run("dmon -c 3 -i 3");
  EXPECT_EQ(linesOf(run.out).back(), "   3     -     -     -     0     0     0     0     0     0")
      << "lost";
  run = host.run("dmon -c 1 -i 0 -o TDT");
  EXPECT_EQ(linesOf(run.out).back(),
            " 20260307   12:00:00     0   310    61     -    97    41     5     6  1215  1410");
}

TEST(DeviceMonitorCommand, comparesEngineCountersWithThePassBefore) {
  Host host = Host::described(fourGpus());
  const auto lines = linesOf(host.run("dmon -c 2 -o JV -i 1,2 -d 5").out);
  ASSERT_EQ(lines.size(), 6U);
  EXPECT_EQ(lines[0].substr(58), "  jpu0  jpu1  vpu0  vpu1  vpu2");
  EXPECT_EQ(lines[1].substr(58), "     %     %     %     %     %");
  EXPECT_EQ(lines[2].substr(58), "     -     -    12    12    12");
  EXPECT_EQ(lines[3].substr(58), "     -     -     -     -     -");
  EXPECT_EQ(lines[4].substr(58), "    50    50    12    12    12");
  const auto without = linesOf(host.run("dmon -c 1 -o JV -i 2").out);
  EXPECT_EQ(without[0].substr(58), "  jpu  vpu");
  EXPECT_EQ(without[2].substr(58), "    -    -");
}

TEST(DeviceMonitorCommand, repeatsTheHeaderAfterFortyPasses) {
  Host host = Host::described(fourGpus());
  const auto lines = linesOf(host.run("dmon -c 41 -i 0 -o T -d 600").out);
  ASSERT_EQ(lines.size(), 2 + 40 + 2 + 1U);
  EXPECT_EQ(lines[42], lines[0]);
  EXPECT_EQ(lines[43], lines[1]);
  EXPECT_EQ(lines[44].substr(0, 9), " 18:40:00") << "40 delays after noon";
}

struct Refusal {
  const char* arguments;
  std::string out;
  int status;
};

std::string delayRefusal(int longest, const std::string& value) {
  return fmt::format(
      "Collection delay/interval should be between 1 second and {} seconds.\nThe value -d, --delay "
      "is not an allowed value for {}. Run with --help for more information.\n",
      longest, value);
}

std::string countRefusal(const std::string& value) {
  return "Invalid value for number of samples to be displayed.\nThe value -c, --count is not an "
         "allowed value for " +
         value + ". Run with --help for more information.\n";
}

TEST(Monitors, refuseInOneOrder) {
  Host host("one-gpu");
  const std::string letters = "Error in parsing options\nFailed to process command line\n";
  const std::string device = "No device were found\n";
  const std::string created = "Failed to create the log file /no/such/file\n";
  const std::string metrics = "Failed to parse --display/-d flags \n";
  for (const Refusal& refusal : std::vector<Refusal>{
           {"dmon -i 1 -d 0 -c 0 -o X", device, 255},
           {"dmon -i , -d 0", device, 255},
           {"dmon -d 0 -c 0 -o X", delayRefusal(600, "0"), 255},
           {"dmon -d 601", delayRefusal(600, "601"), 255},
           {"dmon -d 99999999999999999999", delayRefusal(600, "99999999999999999999"), 255},
           {"dmon -d x", delayRefusal(600, "x"), 255},
           {"dmon -c 0 -o X", countRefusal("0"), 255},
           {"dmon -c -3", countRefusal("-3"), 255},
           {"dmon -o DX -f /no/such/file", letters, 255},
           {"dmon -f /no/such/file", created, 0},
           {"pmon -i 1 -d 0", device, 255},
           {"pmon -d 11 -c 0", delayRefusal(10, "11"), 0},
           {"pmon -c 0 -o J", countRefusal("0"), 0},
           {"pmon -o J -f /no/such/file", letters + "\n", 255},
           {"pmon -f /no/such/file", created, 0},
           {"stats -i 1 -c 0", device, 255},
           {"stats -c x -d bogus", countRefusal("x"), 255},
           {"stats -d temp,Temp -f /no/such/file", metrics, 255},
           {"stats --display= -f /no/such/file", metrics, 255},
           {"stats -f /no/such/file", created, 255}}) {
    const Outcome run = host.run(refusal.arguments);
    EXPECT_EQ(run.out, refusal.out) << refusal.arguments;
    EXPECT_EQ(run.status, refusal.status) << refusal.arguments;
  }
}

TEST(Monitors, acceptTheEndsOfTheirRanges) {
  Host host("one-gpu");
  for (const char* arguments : {"dmon -d 600 -c 2", "dmon -d 1x -c 1", "pmon -d 10 -c 2"}) {
    EXPECT_EQ(linesOf(host.run(arguments).out).size() > 2, true) << arguments;
    EXPECT_EQ(host.run(arguments).status, 0) << arguments;
  }
}

TEST(Monitors, endWhenTheirFileVanishesOrTheDiskIsFull) {
  Host host("one-gpu");
  const std::string log = (host.directory() / "log").string();
  for (const auto& [command, status] :
       std::map<std::string, int>{{"dmon", 255}, {"pmon", 0}, {"stats", 255}}) {
    const Outcome full = host.run(command + " -f /dev/full");
    EXPECT_EQ(full.out, "Failed to write the log file /dev/full\n") << command;
    EXPECT_EQ(full.status, status) << command;
    const Outcome gone = host.runScript(fmt::format(
        "$zanctl {0} -f {1} &\nuntil [ -s {1} ]; do :; done\nrm {1}; wait $!", command, log));
    EXPECT_EQ(gone.out, "Failed to write the log file " + log + "\n") << command;
    EXPECT_EQ(gone.status, status) << command;
  }
}

TEST(Monitors, giveEachLineToAPipeAtOnce) {
  Host host("one-gpu");
  host.useClock(Clock::real);
  // The reader ends after the first pass, long before the second.
  for (const auto& [command, lines] :
       std::map<std::string, int>{{"dmon -d 600", 3}, {"pmon -d 10", 3}, {"stats", 10}}) {
    const Outcome run = host.runScript(fmt::format(
        "$zanctl {} | {{ for i in $(seq {}); do read -r line || exit 1; done; kill -INT "
        "$(pgrep -P $$ zanctl); }}; exit 0",
        command, lines));
    EXPECT_EQ(run.status, 0) << command;
    EXPECT_EQ(run.err, "") << command;
  }
}

TEST(ProcessMonitorCommand, listsProcessesAndDashes) {
  Host host = Host::described(machineOf(R"(
      {"utilization": {"gpu": 90, "memory": 1, "encoder": 9, "decoder": 0},
       "memory": {"total": "10 GiB", "used": "2 GiB"},
       "processes": [{"command": "train -v", "memory": "1 GiB"}, {"kind": "self", "memory": 5},
                     {"kind": "dead", "memory": 5}, {"command": "idle", "memory": 0}]},
      {"processes": [{"kind": "self"}]})"));
  const auto lines = linesOf(host.run("pmon -c 1 -o D").out);
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines[0], "#Date       gpu        pid  type    sm   mem   enc   dec   command");
  EXPECT_EQ(lines[1], "#YYYYMMDD   Idx          #   C/G     %     %     %     %   name");
  EXPECT_EQ(lines[2].substr(0, 15), " 20260307     0");
  EXPECT_EQ(lines[2].substr(26), "     C    30    10     3     -   train -v");
  EXPECT_EQ(lines[3].substr(26), "     C    30     -     3     -   idle");
  EXPECT_EQ(lines[4], " 20260307     1          -     -     -     -     -     -   -");
}

TEST(StatisticsCommand, writesALineAMetricInTableOrder) {
  Host host = Host::described(machineOf(
      R"({"board": {"id": 1, "position": 0, "power_usage": 310}, "temperature": 61,
          "utilization": {"gpu": 97, "memory": 41, "encoder": 5, "decoder": 6},
          "clocks": {"sm": 1410, "memory": 1215}, "violation": {"thermal": 123456789012},
          "throttle_reasons": 4},
         {"board": {"id": 1, "position": 1}, "temperature": "unavailable", "utilization": "unavailable",
          "clocks": "unavailable", "violation": "unavailable", "throttle_reasons": "unavailable"})"));
  Outcome run = host.run("stats -c 1");
  EXPECT_EQ(run.status, 0);
  std::string expected;
  using Row = std::array<const char*, 4>;
  for (const Row& row :
       {Row{"pwrDraw", "310", "temp", "61"}, Row{"gpuUtil", "97", "memUtil", "41"},
        Row{"encUtil", "5", "decUtil", "6"}, Row{"procClk", "1410", "memClk", "1215"},
        Row{"violPwr", "123456789012", "violThm", "1"}}) {
    expected += fmt::format("0, {}, 1772884800000000, {}\n0, {}, 1772884800000000, {}\n", row[0],
                            row[1], row[2], row[3]);
  }
  EXPECT_EQ(run.out.substr(0, expected.size()), expected);
  const std::string rest = run.out.substr(std::min(expected.size(), run.out.size()));
  const auto lines = linesOf(rest);
  ASSERT_EQ(lines.size(), 10U);
  for (std::size_t metric = 0; metric < 8; ++metric) EXPECT_TRUE(lines[metric].ends_with(", N/A"));
  EXPECT_EQ(lines[8] + lines[9], "1, violPwr, 1772884800000000, 01, violThm, 1772884800000000, 0");
  run = host.run("stats -c 2 -d temp,pwrDraw -i 0");
  EXPECT_EQ(run.out,
            "0, pwrDraw, 1772884800000000, 310\n0, temp, 1772884800000000, 61\n"
            "0, pwrDraw, 1772884801000000, 310\n0, temp, 1772884801000000, 61\n");
}

TEST(StatisticsCommand, explainsItsLinesBehindTheHelp) {
  Host host("one-gpu");
  const std::string help = host.run("stats --help").out;
  EXPECT_NE(help.find("cycles and exit\n\nStats in following CSV format:\nDevice, Power Drawn "
                      "(pwrDraw), Timestamp (us), Value (Watts)\n"),
            std::string::npos)
      << help;
  EXPECT_NE(help.find("Viol bool (1/0)\n\nExample Command Line:\nzanctl stats : Stats for all the "
                      "devices\n"),
            std::string::npos);
  EXPECT_EQ(host.run("dmon -h").out.find("Stats in following"), std::string::npos);
}

TEST(Pacing, countsThePeriodFromTheStartOfThePass) {
  // A library that takes 300 ms for one reading of the pass.
  Host host = Host::described(machineOf(
      "{}", R"("faults": [{"operation": "nvmlDeviceGetTemperature", "latency_us": 300000}])"));
  const auto lines = linesOf(host.run("stats -c 3 -d temp").out);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[2].substr(0, 24), "0, temp, 177288480230000") << "2.3 s after the start";
}

}  // namespace
}  // namespace zanctl
