// pmon: a line per compute process, GPU and pass.
#pragma once

#include "cli/options.h"
#include "device/records.h"
#include "monitors/monitor_options.h"

#include <ctime>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl {

// What the -o option may hold: date and time.
inline constexpr std::string_view kProcessMonitorLetters = "DT";

// 0, or -1 after a refused selection or refused letters.
int runProcessMonitor(const PmonOptions& options);

// One process's shares of its GPU, in percent; 0 where it has none.
struct ProcessLine {
  std::uint32_t pid;
  std::uint32_t sm;
  std::uint64_t memory;
  std::uint32_t encoder;
  std::uint32_t decoder;
  std::string name;
};

// The processes of a sample that are to be shown: not our own, and such as exist and have a name.
std::vector<ProcessLine> processLines(const ProcessUsage& usage);

void writeProcessHeader(std::ostream& out, const StampColumns& stamps);
// The GPU's lines; without a process, a line of dashes.
void writeProcessLines(std::ostream& out, const StampColumns& stamps, std::uint32_t gpuIndex,
                       const std::vector<ProcessLine>& lines, std::time_t time);

}  // namespace zanctl
