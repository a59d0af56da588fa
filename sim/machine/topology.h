// How the GPUs of a machine are connected, derived from where each is plugged in.
#pragma once

#include "description/host.h"

#include <vector>

namespace zansim {

// The nearest part of the machine that two GPUs share.
nvmlGpuTopologyLevel_t commonAncestor(const Host& host, unsigned a, unsigned b);

// The other GPUs whose common ancestor with this one is exactly of this level, ascending.
std::vector<unsigned> nearestGpus(const Host& host, unsigned gpu, nvmlGpuTopologyLevel_t level);

// The GPUs whose NUMA node has the CPU, ascending.
std::vector<unsigned> gpusNearCpu(const Host& host, unsigned cpu);

}  // namespace zansim
