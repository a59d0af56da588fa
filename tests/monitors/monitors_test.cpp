#include "monitors/device_monitor.h"
#include "monitors/process_monitor.h"
#include "monitors/statistics.h"

#include <gtest/gtest.h>

#include <sstream>

#include <unistd.h>

namespace zanctl {
namespace {

zanmlJpuUtilization_t counters(std::initializer_list<unsigned long long> busyTimes) {
  zanmlJpuUtilization_t engines{};
  for (const unsigned long long busy : busyTimes) engines.busyTime[engines.count++] = busy;
  return engines;
}

TEST(JpuShares, areTheBusyPartOfThePeriod) {
  const auto before = counters({1'000'000'000, 0, 5, 7'000'000'000});
  const auto now = counters({1'500'000'000, 9'000'000'000, 5, 6'000'000'000, 1});
  EXPECT_EQ(jpuShares(before, now, 1), (EngineShares{50, 100, 0, 0, std::nullopt}))
      << "capped at the period, 0 after a counter began anew, nothing for a new engine";
  EXPECT_EQ(jpuShares(before, now, 2), (EngineShares{25, 100, 0, 0, std::nullopt}));
  EXPECT_EQ(jpuShares(before, counters({}), 1), EngineShares{});
  EXPECT_EQ(jpuShares(counters({}), now, 600).front(), std::nullopt);
}

TEST(VpuShares, areTruncatedAndSafeFromATotalOfZero) {
  zanmlVpuUtilization_t engines{};
  engines.count = 3;
  engines.total = 3;
  engines.busy[0] = 1;
  engines.busy[1] = 3;
  engines.busy[2] = 2;
  EXPECT_EQ(vpuShares(engines), (EngineShares{33, 100, 66}));
  engines.total = 0;
  EXPECT_EQ(vpuShares(engines), (EngineShares{0, 0, 0}));
}

std::string header(const MonitorColumns& columns) {
  std::ostringstream out;
  writeMonitorHeader(out, columns);
  return out.str();
}

TEST(DeviceMonitor, widensEngineColumnsFromTheTenthOn) {
  MonitorColumns columns;
  columns.jpu = {.shown = true, .engines = 11};
  columns.vpu = {.shown = true, .engines = 0};
  EXPECT_EQ(header(columns),
            "#gpu   pwr gtemp mtemp    sm   mem   enc   dec  mclk  pclk  jpu0  jpu1  jpu2  jpu3  "
            "jpu4  jpu5  jpu6  jpu7  jpu8  jpu9  jpu10  vpu\n"
            "#Idx     W     C     C     %     %     %     %   MHz   MHz     %     %     %     %   "
            "  %     %     %     %     %     %      %    %\n");
  std::ostringstream out;
  MonitorLine line{3, {}, {1, 22, 100}, {}};
  line.reading = {kUnavailable, 61, 0, 0, 97, 41, 1410, 1215, 5, 6};
  writeMonitorLine(out, columns, line, 0);
  EXPECT_EQ(out.str(),
            "   3     -    61     -    97    41     5     6  1215  1410     1    22   100     -    "
            " -     -     -     -     -     -      -    -\n");
}

TEST(ProcessMonitor, dividesTheGpuAmongTheOthers) {
  const auto own = static_cast<std::uint32_t>(getpid());
  const auto parent = static_cast<std::uint32_t>(getppid());
  ProcessUsage usage{};
  usage.memoryTotal = 100;
  usage.utilization = {.gpu = 90, .memory = 50, .encoder = 1, .decoder = 0};
  usage.processes = {{own, 10}, {parent, 1}, {4'100'000'000, 50}, {parent, 0}};
  const auto lines = processLines(usage);
  ASSERT_EQ(lines.size(), 2U) << "neither our own nor one that is gone";
  EXPECT_EQ(lines[0].sm, 30U);
  EXPECT_EQ(lines[0].memory, 1U);
  EXPECT_EQ(lines[0].encoder, 0U);
  EXPECT_EQ(lines[1].memory, 0U);
  usage.memoryTotal = 0;
  EXPECT_EQ(processLines(usage).front().memory, 0U);
  usage.memoryTotal = 1000;
  usage.processes = {{own, 10}};
  EXPECT_TRUE(processLines(usage).empty());
  usage.processes = {{parent, 991}};
  EXPECT_EQ(processLines(usage).front().memory, 100U) << "the share is rounded up";
}

TEST(ProcessMonitor, showsNoShareAsADash) {
  std::ostringstream out;
  writeProcessLines(out, {}, 7, {{4711, 45, 1, 0, 12, "train -v"}}, 0);
  writeProcessLines(out, {}, 12, {}, 0);
  EXPECT_EQ(out.str(),
            "   7       4711     C    45     1     -    12   train -v\n"
            "  12          -     -     -     -     -     -   -\n");
}

TEST(Statistics, printAllOnesAsUnavailableAndHugeValuesSigned) {
  StatsReading reading{};
  reading.power = kUnavailable;
  reading.temperature = kUnavailable - 1;
  reading.violationTime = 18'446'744'073'709'551'615ULL;
  reading.throttled = true;
  EXPECT_EQ(metricText(0, reading), "N/A");
  EXPECT_EQ(metricText(1, reading), "-2");
  EXPECT_EQ(metricText(2, reading), "0");
  EXPECT_EQ(metricText(8, reading), "18446744073709551615");
  EXPECT_EQ(metricText(9, reading), "1");
}

TEST(Statistics, parseMetricNamesExactly) {
  EXPECT_EQ(parseMetrics("temp,pwrDraw"), 3U);
  EXPECT_EQ(parseMetrics("violThm"), 1U << 9U);
  for (const char* list : {"", "Temp", "temp,", "temp pwrDraw", "memclk"}) {
    EXPECT_EQ(parseMetrics(list), std::nullopt) << list;
  }
}

}  // namespace
}  // namespace zanctl
