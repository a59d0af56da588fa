// pmon: a line per compute process, GPU and pass.
#pragma once

#include "device/records.h"
#include "monitors/stamps.h"
#include "request/options.h"

#include <ctime>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace zanctl {

// What the -o option may hold: date and time.
inline constexpr std::string_view kProcessMonitorLetters = "DT";

// 0, or -1 after a refused selection or refused letters.
int runProcessMonitor(const PmonOptions& options, std::ostream& out);

// What a GPU's processes share among themselves.
struct GpuLoad {
  std::uint64_t memoryTotal;   // bytes; 0 when unavailable
  std::uint32_t sm;            // percent, likewise
  std::uint32_t encoder;       // percent, likewise
  std::uint32_t decoder;       // percent, likewise
  std::uint64_t processCount;  // our own left out
};

void writeProcessHeader(std::string& text, const StampColumns& stamps);
// `head` is what every line of the GPU begins with.
void writeProcessLine(std::string& text, std::string_view head, const GpuLoad& load,
                      const ProcessEntry& process);

}  // namespace zanctl
