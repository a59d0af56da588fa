// Lists of one GPU, where it is plugged in, and how it is connected to the others.
#include "library/answer.h"
#include "machine/topology.h"

#include <unistd.h>

using namespace zansim;

namespace {

void writeProcesses(const Call& call, const std::vector<ListedProcess>& processes,
                    unsigned int* count, nvmlProcessInfo_t* infos) {
  writeList(call, processes.size(), count, infos, [&](std::size_t i) {
    const ListedProcess& process = processes[i];
    // Processes that share a signal are told apart like GPUs.
    const unsigned owner = call.index + 7 * static_cast<unsigned>(i);
    return nvmlProcessInfo_t{.pid = process.self ? static_cast<unsigned>(getpid()) : process.pid,
                             .usedGpuMemory = valueOf(*process.memory, owner)};
  });
}

constexpr std::array kRetiredPages{Number("retired_pages/single_bit"),
                                   Number("retired_pages/double_bit")};

// Sets the bits of ascending numbers in a mask; the mask must have room for all of them.
void writeMask(const std::vector<unsigned>& bits, nvmlAffinityScope_t scope, unsigned int words,
               unsigned long* mask) {
  constexpr unsigned kWordBits = 64;
  if ((scope != NVML_AFFINITY_SCOPE_NODE && scope != NVML_AFFINITY_SCOPE_SOCKET) || words == 0) {
    throw NVML_ERROR_INVALID_ARGUMENT;
  }
  if (!bits.empty() && bits.back() / kWordBits >= words) throw NVML_ERROR_INSUFFICIENT_SIZE;
  std::fill_n(&required(mask), words, 0UL);
  for (const unsigned bit : bits) mask[bit / kWordBits] |= 1UL << bit % kWordBits;
}

constexpr std::array kLevels{NVML_TOPOLOGY_INTERNAL,   NVML_TOPOLOGY_SINGLE, NVML_TOPOLOGY_MULTIPLE,
                             NVML_TOPOLOGY_HOSTBRIDGE, NVML_TOPOLOGY_NODE,   NVML_TOPOLOGY_SYSTEM};

constexpr std::array kP2pCapabilities{Number("p2p/read"), Number("p2p/write")};

// The second GPU of a pair.
unsigned indexOf(const Call& call, nvmlDevice_t device) {
  const std::optional<unsigned> found = call.session.gpuOf(device);
  if (!found || *found >= call.machine.gpuCount()) throw NVML_ERROR_INVALID_ARGUMENT;
  return *found;
}

void writeHandles(const Call& call, const std::vector<unsigned>& gpus, unsigned int* count,
                  nvmlDevice_t* devices) {
  writeList(call, gpus.size(), count, devices,
            [&](std::size_t i) { return call.session.handleOf(gpus[i]); });
}

}  // namespace

nvmlReturn_t nvmlDeviceGetComputeRunningProcesses(nvmlDevice_t device, unsigned int* count,
                                                  nvmlProcessInfo_t* processes) {
  return onGpu(Operation::nvmlDeviceGetComputeRunningProcesses, device, {device, count},
               [&](const Call& call) {
                 writeProcesses(call, call.machine.processes(call.index).running, count, processes);
               });
}

nvmlReturn_t zanmlDeviceGetComputeAllProcesses(nvmlDevice_t device, unsigned int* count,
                                               nvmlProcessInfo_t* processes) {
  return onGpu(Operation::zanmlDeviceGetComputeAllProcesses, device, {device, count},
               [&](const Call& call) {
                 writeProcesses(call, call.machine.processes(call.index).all, count, processes);
               });
}

nvmlReturn_t getDeviceVgpuPids(nvmlDevice_t device, unsigned int* pids) {
  return onGpu(Operation::getDeviceVgpuPids, device, {device}, [&](const Call& call) {
    const std::vector<unsigned>& listed = call.machine.processes(call.index).vgpuPids;
    const std::size_t known = std::min<std::size_t>(listed.size(), kZanmlMaxVgpuPids);
    std::copy_n(listed.begin(), known, &required(pids));
  });
}

nvmlReturn_t nvmlDeviceGetRetiredPages(nvmlDevice_t device, nvmlPageRetirementCause_t cause,
                                       unsigned int* count, unsigned long long* addresses) {
  return onGpu(Operation::nvmlDeviceGetRetiredPages, device, {device, cause, count},
               [&](const Call& call) {
                 const std::uint64_t pages = valueOf(call, chosen(kRetiredPages, cause));
                 writeList(call, pages, count, addresses, [&](std::size_t i) -> unsigned long long {
                   constexpr unsigned kPageBits = 12;
                   constexpr unsigned kAddressBits = 35;
                   const std::uint64_t page = mix(call.index, static_cast<std::uint64_t>(cause), i);
                   return page % (1ULL << (kAddressBits - kPageBits)) << kPageBits;
                 });
               });
}

nvmlReturn_t nvmlDeviceGetCpuAffinityWithinScope(nvmlDevice_t device, unsigned int words,
                                                 unsigned long* mask, nvmlAffinityScope_t scope) {
  return onGpu(Operation::nvmlDeviceGetCpuAffinityWithinScope, device, {device, words, scope},
               [&](const Call& call) {
                 writeMask(call.host().numaNodes[call.gpu->place->numaNode].cpus, scope, words,
                           mask);
               });
}

nvmlReturn_t nvmlDeviceGetMemoryAffinity(nvmlDevice_t device, unsigned int words,
                                         unsigned long* mask, nvmlAffinityScope_t scope) {
  return onGpu(
      Operation::nvmlDeviceGetMemoryAffinity, device, {device, words, scope},
      [&](const Call& call) { writeMask({call.gpu->place->numaNode}, scope, words, mask); });
}

nvmlReturn_t nvmlDeviceGetTopologyNearestGpus(nvmlDevice_t device, nvmlGpuTopologyLevel_t level,
                                              unsigned int* count, nvmlDevice_t* devices) {
  return onGpu(Operation::nvmlDeviceGetTopologyNearestGpus, device, {device, level, count},
               [&](const Call& call) {
                 if (std::find(kLevels.begin(), kLevels.end(), level) == kLevels.end()) {
                   throw NVML_ERROR_INVALID_ARGUMENT;
                 }
                 writeHandles(call, nearestGpus(call.host(), call.index, level), count, devices);
               });
}

nvmlReturn_t nvmlSystemGetTopologyGpuSet(unsigned int cpu, unsigned int* count,
                                         nvmlDevice_t* devices) {
  return onMachine(Operation::nvmlSystemGetTopologyGpuSet, {cpu, count}, [&](const Call& call) {
    writeHandles(call, gpusNearCpu(call.host(), cpu), count, devices);
  });
}

nvmlReturn_t nvmlDeviceGetTopologyCommonAncestor(nvmlDevice_t device, nvmlDevice_t other,
                                                 nvmlGpuTopologyLevel_t* level) {
  return onGpu(Operation::nvmlDeviceGetTopologyCommonAncestor, device, {device, other},
               [&](const Call& call) {
                 required(level) = commonAncestor(call.host(), call.index, indexOf(call, other));
               });
}

nvmlReturn_t nvmlDeviceGetP2PStatus(nvmlDevice_t device, nvmlDevice_t other,
                                    nvmlGpuP2PCapsIndex_t capability, nvmlGpuP2PStatus_t* status) {
  return onGpu(Operation::nvmlDeviceGetP2PStatus, device, {device, other, capability},
               [&](const Call& call) {
                 const unsigned otherIndex = indexOf(call, other);
                 const Number attribute = chosen(kP2pCapabilities, capability);
                 const std::uint64_t own = valueOf(call, attribute);
                 const std::uint64_t others =
                     valueOf(call.host().gpus[otherIndex][attribute], otherIndex);
                 // A pair can do what both of its GPUs can.
                 writeValue(own != NVML_P2P_STATUS_OK ? own : others, status);
               });
}
