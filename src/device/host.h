// CPU and NUMA facts of this host.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace zanctl {

inline constexpr const char* kNumaNodesFile = "/sys/devices/system/node/online";

// Online processors.
std::int32_t onlineCpuCount();

// Online NUMA nodes, from kNumaNodesFile; empty when it cannot be read.
std::optional<std::uint32_t> numaNodeCount();

// The set bits, from bit 0 of the first word on, as numbers and ranges: "0-3,8,10,11". Only three
// or more in a row make a range. Empty when no bit is set.
std::string formatCpuSet(std::span<const std::uint64_t> words);

}  // namespace zanctl
