// The walk of the commands that change GPUs: what is checked of each GPU first, and the words that
// these commands share.
#pragma once

#include "device/records.h"
#include "device/selection.h"

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

namespace zanctl {

// The number of selected GPUs that are refused for lack of root rights; each is named.
std::uint32_t checkPermissions(const DeviceSet& selection, std::string_view action,
                               std::ostream& out);

// What a command does with a GPU, and how it says so.
struct DeviceAction {
  std::function<nvmlReturn_t()> apply;  // to the current GPU
  std::string_view title;               // of the command, in a sentence
  std::string success;                  // said behind the GPU's bus id
  std::string_view failure;             // likewise, before the library's code
  std::string_view summary;             // "<n> devices failed to <summary>!"
  std::string_view advice;              // said behind the paragraph about GPUs in use
  // Said of a GPU whose handle cannot be had, which then ends the walk; where it is empty, such a
  // GPU is tried like any other.
  std::string_view unreadable;
};

// How many GPUs were dealt with, or need not be, and how many were in use.
struct WalkCounts {
  std::uint32_t done = 0;
  std::uint32_t busy = 0;
};

// Applies the action to each selected GPU that no other process uses and says what came of it.
// False when the walk ended at a GPU that must not be touched, which was named.
[[nodiscard]] bool walkDevices(const DeviceSet& selection, const DeviceAction& action,
                               WalkCounts& counts, std::ostream& out);

// The closing lines. Returns 0 when every GPU was dealt with, else -1.
int reportCounts(const WalkCounts& counts, const DeviceAction& action, std::ostream& out);

}  // namespace zanctl
