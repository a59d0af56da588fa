#include "monitors/device_monitor.h"
#include "monitors/process_monitor.h"
#include "monitors/statistics.h"

#include <gtest/gtest.h>

#include <string>

namespace zanctl {
namespace {

zanmlJpuUtilization_t counters(std::initializer_list<unsigned long long> busyTimes) {
  zanmlJpuUtilization_t engines{};
  for (const unsigned long long busy : busyTimes) engines.busyTime[engines.count++] = busy;
  return engines;
}

TEST(JpuShares, areTheBusyPartOfThePeriod) {
  const auto before = counters({1'000'000'000, 0, 5, 7'000'000'000});
  const auto now = counters({1'496'000'000, 9'000'000'000, 5, 6'000'000'000, 1});
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
  std::string text;
  writeMonitorHeader(text, columns);
  return text;
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
  std::string text;
  MonitorLine line{3, {}, {1, 22, 100}, {}};
  line.reading = {kUnavailable, 61, 97, 41, 5, 6, 1410, 1215, {}, {}};
  writeMonitorLine(text, columns, line, 0);
  EXPECT_EQ(text,
            "   3     -    61     -    97    41     5     6  1215  1410     1    22   100     -    "
            " -     -     -     -     -     -      -    -\n");
}

TEST(ProcessMonitor, showsADashWhereTheGpuOrTheProcessHasNothing) {
  const GpuLoad load{.memoryTotal = 100, .sm = 90, .encoder = 1, .decoder = 0, .processCount = 2};
  std::string text;
  for (const std::uint64_t used : {1U, 0U, 100U, 200U}) {
    writeProcessLine(text, "   7", load, {4711, "train -v", used, false});
  }
  writeProcessLine(text, "   7", {0, 0, 0, 0, 1}, {1, "x", 5, false});
  EXPECT_EQ(text,
            "   7       4711     C    45     1     0     -   train -v\n"
            "   7       4711     C    45     -     0     -   train -v\n"
            "   7       4711     C    45   100     0     -   train -v\n"
            "   7       4711     C    4518262276632972456300     0     -   train -v\n"
            "   7          1     C     -     0     -     -   x\n");
}

TEST(Statistics, printAllOnesAsUnavailableAndHugeValuesSigned) {
  MonitorReading reading;
  reading.power = kUnavailable;
  reading.temperature = kUnavailable - 1;
  reading.gpuUtil = 0;
  reading.violationTime = 18'446'744'073'709'551'615ULL;
  reading.throttleReasons = 1U << 31U;
  EXPECT_EQ(metricText(0, reading), "N/A");
  EXPECT_EQ(metricText(1, reading), "-2");
  EXPECT_EQ(metricText(2, reading), "0");
  EXPECT_EQ(metricText(3, reading), "N/A");
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
