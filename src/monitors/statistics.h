// stats: a time-stamped CSV line per GPU, metric and second.
#pragma once

#include "device/records.h"
#include "request/options.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl {

// 0, or -1 after saying what was refused or lost.
int runStatistics(const StatsOptions& options, std::ostream& out);

// What the help of the subcommand adds to its options.
void printStatisticsHelp(std::ostream& out);

// Every metric, in the order of the output.
std::vector<std::string_view> metricNames();

// Bits by the position of a metric in the output.
using MetricMask = unsigned;

// The metrics that a comma-separated list names; empty when a piece names none.
std::optional<MetricMask> parseMetrics(std::string_view display);

// The value of the metric at this position of the output.
std::string metricText(std::size_t metric, const MonitorReading& reading);

}  // namespace zanctl
