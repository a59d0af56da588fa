// TopologyReader: how the GPUs are connected to each other and to the processors. Everything but
// readGpusNearCpu() is read on the session's current GPU.
#pragma once

#include "zanml/zanml.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zanctl {

class TopologyReader {
 public:
  // Pairs of the current GPU with the one of the given index; empty when unavailable. The values
  // may be none of the enumerators.
  [[nodiscard]] std::optional<nvmlGpuTopologyLevel_t> readCommonAncestor(std::uint32_t other) const;
  [[nodiscard]] std::optional<nvmlGpuP2PStatus_t> readP2pStatus(
      std::uint32_t other, nvmlGpuP2PCapsIndex_t capability) const;

  // GPU indices, in the library's order; empty when unavailable.
  [[nodiscard]] std::vector<std::uint32_t> readNearestGpus(nvmlGpuTopologyLevel_t level) const;
  [[nodiscard]] std::vector<std::uint32_t> readGpusNearCpu(std::uint32_t cpu) const;

  // Lists like "0-3,8" of the processors (NUMA nodes) near the GPU, out of the `count` that the
  // host has; no value when unavailable, also when the host has none.
  [[nodiscard]] std::optional<std::string> readCpuAffinity(std::uint32_t count) const;
  [[nodiscard]] std::optional<std::string> readMemoryAffinity(std::uint32_t count) const;
};

const TopologyReader& topology();

}  // namespace zanctl
