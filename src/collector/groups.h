// What a round reads of every GPU, in groups that can be chosen: nothing is asked of the library
// that is not in one of the chosen ones.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace zanctl::collector {

using Groups = std::uint32_t;  // a set of the bits below

inline constexpr Groups kIdentity = 1U << 0U;
inline constexpr Groups kTemperature = 1U << 1U;
inline constexpr Groups kPower = 1U << 2U;
inline constexpr Groups kClock = 1U << 3U;
inline constexpr Groups kUtilization = 1U << 4U;
inline constexpr Groups kEngines = 1U << 5U;
inline constexpr Groups kMemory = 1U << 6U;
inline constexpr Groups kPcie = 1U << 7U;
inline constexpr Groups kPcieThroughput = 1U << 8U;  // the library measures for a while
inline constexpr Groups kProcesses = 1U << 9U;       // how many there are
inline constexpr Groups kVgpu = 1U << 10U;
// Without a name: what only some users want to see.
inline constexpr Groups kProcessList = 1U << 11U;   // pid and memory of each process
inline constexpr Groups kProcessNames = 1U << 12U;  // the list with names
inline constexpr Groups kLinks = 1U << 13U;         // how each GPU is connected to the others
// Whatever holds the GPU, in place of the list: also processes that do not compute, that are gone
// or out of sight, but not the collector's own.
inline constexpr Groups kHolders = 1U << 14U;

struct NamedGroup {
  std::string_view name;
  Groups group;
  bool byDefault;
};

inline constexpr std::array<NamedGroup, 11> kNamedGroups = {{
    {"identity", kIdentity, true},
    {"temperature", kTemperature, true},
    {"power", kPower, true},
    {"clock", kClock, true},
    {"utilization", kUtilization, true},
    {"engines", kEngines, true},
    {"memory", kMemory, true},
    {"pcie", kPcie, true},
    {"pcie_throughput", kPcieThroughput, false},
    {"processes", kProcesses, true},
    {"vgpu", kVgpu, true},
}};

constexpr Groups defaultGroups() {
  Groups groups = 0;
  for (const NamedGroup& group : kNamedGroups) groups |= group.byDefault ? group.group : 0;
  return groups;
}

}  // namespace zanctl::collector
