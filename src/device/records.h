// Readings that take several library calls, by value, and the marks of unavailable values.
#pragma once

#include "zanml/zanml.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

namespace zanctl {

// What the library itself, too, answers for a number that it does not know.
inline constexpr std::uint32_t kUnavailable = std::numeric_limits<std::uint32_t>::max();
inline constexpr std::uint64_t kUnavailable64 = std::numeric_limits<std::uint64_t>::max();
inline constexpr const char* kUnavailableText = "N/A";
inline constexpr std::uint32_t kUnknownPerformanceState = 32;
inline constexpr std::uint32_t kUnavailableBoardTemperature = 255;

// The value, unless it is all ones.
inline std::optional<std::uint32_t> known(std::optional<std::uint32_t> value) {
  return value == kUnavailable ? std::nullopt : value;
}
inline std::optional<std::uint64_t> known(std::optional<std::uint64_t> value) {
  return value == kUnavailable64 ? std::nullopt : value;
}

// One sample of the scrolling monitors and the daemon. Of a part that was not asked for nothing is
// known.
struct MonitorReading {
  std::optional<std::uint32_t> power;            // W; of a board's GPUs only on position 0
  std::optional<std::uint32_t> temperature;      // C
  std::optional<std::uint32_t> gpuUtil;          // percent
  std::optional<std::uint32_t> memUtil;          // percent
  std::optional<std::uint32_t> encUtil;          // percent
  std::optional<std::uint32_t> decUtil;          // percent
  std::optional<std::uint32_t> smClock;          // MHz
  std::optional<std::uint32_t> memClock;         // MHz
  std::optional<std::uint64_t> violationTime;    // ns
  std::optional<std::uint64_t> throttleReasons;  // a set of bits, 0 for none
};

// Where a GPU is plugged in and how it is virtualised, read by library index.
struct PciReading {
  nvmlPciInfo_t pci;                 // zeroed when unavailable
  std::uint32_t virtualizationMode;  // nvmlGpuVirtualizationMode_t; 0 when unavailable
};

// One process in a process table.
struct ProcessEntry {
  std::uint32_t pid;
  std::string name;          // command line; empty when it could not be found
  std::uint64_t usedMemory;  // bytes
  bool gone;                 // the process no longer exists
};

}  // namespace zanctl
