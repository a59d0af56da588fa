// dmon: a line per GPU and pass, with power, temperature, utilisations and clocks.
#pragma once

#include "device/records.h"
#include "monitors/stamps.h"
#include "request/options.h"

#include <ctime>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl {

// What the -o option may hold: date, JPU shares, time and VPU shares.
inline constexpr std::string_view kDeviceMonitorLetters = "DJTV";

// 0, or -1 after saying what was refused or lost.
int runDeviceMonitor(const DmonOptions& options, std::ostream& out);

// The columns of one kind of engine. Without the columns `shown` is false.
struct EngineColumns {
  bool shown = false;
  std::uint32_t engines = 0;  // the most that any selected GPU has
};

struct MonitorColumns {
  StampColumns stamps;
  EngineColumns jpu;
  EngineColumns vpu;
};

// Percent by engine; empty for an engine without a figure.
using EngineShares = std::vector<std::optional<std::uint64_t>>;

struct MonitorLine {
  std::uint32_t gpuIndex;
  MonitorReading reading;
  EngineShares jpu;
  EngineShares vpu;
};

void writeMonitorHeader(std::string& text, const MonitorColumns& columns);
void writeMonitorLine(std::string& text, const MonitorColumns& columns, const MonitorLine& line,
                      std::time_t time);

// The share of the period that each engine was busy between two readings of one GPU, in percent.
EngineShares jpuShares(const zanmlJpuUtilization_t& before, const zanmlJpuUtilization_t& now,
                       std::uint64_t periodSeconds);
EngineShares vpuShares(const zanmlVpuUtilization_t& now);

}  // namespace zanctl
