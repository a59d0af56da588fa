// The one-screen summary: a block per GPU and the processes on them.
#pragma once

#include "cli/selection.h"
#include "device/records.h"

#include <cstdint>
#include <ctime>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl {

// Prints the summary once, or every `intervalSeconds` where that is not 0, to the log file or,
// where its name is empty, to standard output.
void printSummary(const DeviceSet& selection, const std::string& logFile,
                  std::uint64_t intervalSeconds);

struct SummaryGpu {
  std::uint32_t index;
  DeviceInfo info;
  SummaryReading reading;
};

struct SummaryProcess {
  std::uint32_t gpuIndex;
  ProcessEntry entry;
};

struct Summary {
  std::time_t time;
  std::string libraryVersion;
  std::string driverVersion;
  std::string cudaVersion;
  std::vector<SummaryGpu> gpus;           // the selected ones
  std::vector<SummaryProcess> processes;  // those on every GPU, but for our own
};

void writeSummary(std::ostream& out, const Summary& summary);

// A command line in the 42 columns of the process table; "..." marks what was cut.
std::string processNameColumn(std::string_view name);

}  // namespace zanctl
