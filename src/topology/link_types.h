// The kinds of connection between two GPUs and the states of their peer-to-peer access, each with
// the code that stands for it in a matrix.
#pragma once

#include "zanml/zanml.h"

#include <array>
#include <optional>
#include <string_view>

namespace zanctl {

struct LinkType {
  nvmlGpuTopologyLevel_t level;
  std::string_view code;
  std::string_view description;
  std::string_view phrase;  // how two GPUs are connected
};

// From the closest to the farthest, which is also their order on the command line.
inline constexpr std::array<LinkType, 6> kLinkTypes = {{
    {NVML_TOPOLOGY_INTERNAL, "INTE", "Connection traversing at most a single on-board PCIe bridge",
     "by way of a single on-board PCIe switch"},
    {NVML_TOPOLOGY_SINGLE, "PIX", "Connection traversing at most a single PCIe bridge",
     "by way of a single PCIe switch"},
    {NVML_TOPOLOGY_MULTIPLE, "PXB",
     "Connection traversing multiple PCIe bridges (without traversing the PCIe Host Bridge)",
     "by way of potentially multiple PCIe switches"},
    {NVML_TOPOLOGY_HOSTBRIDGE, "PHB",
     "Connection traversing PCIe as well as a PCIe Host Bridge (typically the CPU)",
     "by the same PCIe host bridge"},
    {NVML_TOPOLOGY_NODE, "NODE",
     "Connection traversing PCIe as well as the interconnect between PCIe Host Bridges within a "
     "NUMA node",
     "by way of an on-CPU interconnect between PCIe host bridges"},
    {NVML_TOPOLOGY_SYSTEM, "SYS",
     "Connection traversing PCIe as well as the SMP interconnect between NUMA nodes (e.g., "
     "QPI/UPI)",
     "by way of an SMP interconnect link between NUMA nodes"},
}};

// Null for an unavailable level and for one that is none of the table's.
const LinkType* findLinkType(std::optional<nvmlGpuTopologyLevel_t> level);

struct P2pState {
  nvmlGpuP2PStatus_t status;
  std::string_view code;
  std::string_view description;
};

// The last one stands for every status that has no row of its own.
inline constexpr std::array<P2pState, 6> kP2pStates = {{
    {NVML_P2P_STATUS_OK, "OK", "Status Ok"},
    {NVML_P2P_STATUS_CHIPSET_NOT_SUPPORTED, "CNS", "Chipset not supported"},
    {NVML_P2P_STATUS_GPU_NOT_SUPPORTED, "GNS", "GPU not supported"},
    {NVML_P2P_STATUS_TOPOLOGY_NOT_SUPPORTED, "TNS", "Topology not supported"},
    {NVML_P2P_STATUS_NOT_SUPPORTED, "NS", "Not supported"},
    {NVML_P2P_STATUS_UNKNOWN, "U", "Unknown"},
}};

const P2pState& findP2pState(std::optional<nvmlGpuP2PStatus_t> status);

}  // namespace zanctl
