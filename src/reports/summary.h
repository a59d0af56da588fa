// The one-screen summary: a block per GPU and the processes on them.
#pragma once

#include "device/records.h"
#include "device/selection.h"

#include <cstdint>
#include <ctime>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace zanctl {

struct SummaryOptions {
  DeviceSet selection;
  std::string loop;  // the options' texts
  std::string filename;
};

// Prints the summary once, or at the interval of --loop. Returns 0, also after saying what was
// refused or lost.
int runSummary(const SummaryOptions& options, std::ostream& out);

// One GPU's block.
struct SummaryGpu {
  std::uint32_t index;
  std::optional<std::string> name;
  nvmlPciInfo_t pci;                              // zeroed when unavailable
  std::optional<std::uint32_t> smClock;           // MHz
  std::optional<std::uint32_t> memClock;          // MHz
  std::optional<std::uint32_t> fanSpeed;          // percent
  std::optional<std::uint32_t> temperature;       // C
  std::optional<std::uint32_t> performanceState;  // 0 to 15, or 32
  std::optional<std::uint32_t> power;             // W; its own or its board's
  std::optional<std::uint32_t> powerLimit;        // W; likewise
  nvmlMemory_t memory;                            // bytes; zeroed when unavailable
  std::uint32_t gpuUtil;                          // percent; 0 when unavailable
  std::uint32_t computeMode;                      // nvmlComputeMode_t; 0 when unavailable
};

void writeSummaryGpu(std::string& text, const SummaryGpu& gpu);

void writeSummaryProcess(std::string& text, std::uint32_t gpuIndex, const ProcessEntry& process);

// A command line in the 42 columns of the process table; "..." marks what was cut.
std::string processNameColumn(std::string_view name);

}  // namespace zanctl
