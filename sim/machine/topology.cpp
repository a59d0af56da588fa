#include "machine/topology.h"

#include <algorithm>

namespace zansim {

namespace {

bool onOneBoard(const Gpu& a, const Gpu& b) {
  const NumberSource& first = a[Number("board/id")];
  const NumberSource& second = b[Number("board/id")];
  return first.kind == NumberSource::Kind::constant &&
         second.kind == NumberSource::Kind::constant && first.value == second.value;
}

}  // namespace

nvmlGpuTopologyLevel_t commonAncestor(const Host& host, unsigned a, unsigned b) {
  if (a == b || onOneBoard(host.gpus[a], host.gpus[b])) return NVML_TOPOLOGY_INTERNAL;
  const Placement& first = *host.gpus[a].place;
  const Placement& second = *host.gpus[b].place;
  // A part is shared only when everything above it is.
  if (first.numaNode != second.numaNode) return NVML_TOPOLOGY_SYSTEM;
  if (first.hostBridge != second.hostBridge) return NVML_TOPOLOGY_NODE;
  if (first.rootPort != second.rootPort) return NVML_TOPOLOGY_HOSTBRIDGE;
  if (first.bridge != second.bridge) return NVML_TOPOLOGY_MULTIPLE;
  return NVML_TOPOLOGY_SINGLE;
}

std::vector<unsigned> nearestGpus(const Host& host, unsigned gpu, nvmlGpuTopologyLevel_t level) {
  std::vector<unsigned> nearest;
  for (unsigned other = 0; other < host.gpus.size(); ++other) {
    if (other != gpu && commonAncestor(host, gpu, other) == level) nearest.push_back(other);
  }
  return nearest;
}

std::vector<unsigned> gpusNearCpu(const Host& host, unsigned cpu) {
  std::vector<unsigned> near;
  for (unsigned gpu = 0; gpu < host.gpus.size(); ++gpu) {
    const std::vector<unsigned>& cpus = host.numaNodes[host.gpus[gpu].place->numaNode].cpus;
    if (std::binary_search(cpus.begin(), cpus.end(), cpu)) near.push_back(gpu);
  }
  return near;
}

}  // namespace zansim
