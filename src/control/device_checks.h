// What the commands that change GPUs check first, and the words that they share.
#pragma once

#include "cli/selection.h"
#include "device/records.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace zanctl {

// "GPU DDDDDDDD:BB:DD.0 ", its blank included.
std::string gpuText(const PciReading& gpu);

// How many of the selected GPUs are refused for lack of root rights; each is named.
std::uint32_t checkPermissions(const DeviceSet& selection, std::string_view action,
                               std::ostream& out);

// Whether no process but our own uses the GPU; otherwise its processes are named. Makes the GPU the
// current one.
bool isDeviceFree(std::uint32_t index, const PciReading& gpu, std::ostream& out);

// How many GPUs were dealt with, or need not be, and how many were in use.
struct ControlCounts {
  std::uint32_t done = 0;
  std::uint32_t busy = 0;
};

// The closing lines: the paragraph about GPUs in use, continued by `advice`, and how many of all
// GPUs "failed to <action>". Returns 0 when every GPU was dealt with, else -1.
int reportCounts(const ControlCounts& counts, std::string_view advice, std::string_view action,
                 std::ostream& out);

}  // namespace zanctl
