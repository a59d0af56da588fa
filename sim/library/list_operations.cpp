// Lists of one GPU, where it is plugged in, and how it is connected to the others.
#include "library/answer.h"
#include "machine/topology.h"

#include <array>

#include <unistd.h>

using namespace zansim;

namespace {

nvmlReturn_t writeProcesses(const Call& call, const std::vector<ListedProcess>& processes,
                            unsigned int* count, nvmlProcessInfo_t* infos) {
  return writeList(call, processes.size(), count, infos, [&](std::size_t i) {
    const ListedProcess& process = processes[i];
    unsigned long long memory = 0;
    // Processes that share a signal are told apart like GPUs.
    const unsigned owner = call.index + 7 * static_cast<unsigned>(i);
    readSource(*process.memory, owner, memory);
    const unsigned pid = process.self ? static_cast<unsigned>(getpid()) : process.pid;
    return nvmlProcessInfo_t{.pid = pid, .usedGpuMemory = memory};
  });
}

constexpr std::array kRetiredPages{Number("retired_pages/single_bit"),
                                   Number("retired_pages/double_bit")};

// Sets the bits of ascending numbers in a mask; the mask must have room for all of them.
nvmlReturn_t writeMask(const std::vector<unsigned>& bits, unsigned int words, unsigned long* mask) {
  constexpr unsigned kWordBits = 64;
  if (mask == nullptr || words == 0) return NVML_ERROR_INVALID_ARGUMENT;
  if (!bits.empty() && bits.back() / kWordBits >= words) return NVML_ERROR_INSUFFICIENT_SIZE;
  std::fill_n(mask, words, 0UL);
  for (const unsigned bit : bits) mask[bit / kWordBits] |= 1UL << bit % kWordBits;
  return NVML_SUCCESS;
}

bool isScope(nvmlAffinityScope_t scope) {
  return scope == NVML_AFFINITY_SCOPE_NODE || scope == NVML_AFFINITY_SCOPE_SOCKET;
}

constexpr std::array kLevels{NVML_TOPOLOGY_INTERNAL,   NVML_TOPOLOGY_SINGLE, NVML_TOPOLOGY_MULTIPLE,
                             NVML_TOPOLOGY_HOSTBRIDGE, NVML_TOPOLOGY_NODE,   NVML_TOPOLOGY_SYSTEM};

constexpr std::array kP2pCapabilities{Number("p2p/read"), Number("p2p/write")};

// The second GPU of a pair.
bool findOther(const Call& call, nvmlDevice_t device, unsigned& index) {
  const std::optional<unsigned> found = call.session.gpuOf(device);
  index = found.value_or(0);
  return found && index < call.machine.gpuCount();
}

}  // namespace

nvmlReturn_t nvmlDeviceGetComputeRunningProcesses(nvmlDevice_t device, unsigned int* count,
                                                  nvmlProcessInfo_t* processes) {
  return onGpu(Operation::nvmlDeviceGetComputeRunningProcesses, device, {device, count},
               [&](const Call& call) {
                 return writeProcesses(call, call.machine.processes(call.index).running, count,
                                       processes);
               });
}

nvmlReturn_t zanmlDeviceGetComputeAllProcesses(nvmlDevice_t device, unsigned int* count,
                                               nvmlProcessInfo_t* processes) {
  return onGpu(
      Operation::zanmlDeviceGetComputeAllProcesses, device, {device, count}, [&](const Call& call) {
        return writeProcesses(call, call.machine.processes(call.index).all, count, processes);
      });
}

nvmlReturn_t getDeviceVgpuPids(nvmlDevice_t device, unsigned int* pids) {
  return onGpu(Operation::getDeviceVgpuPids, device, {device}, [&](const Call& call) {
    if (pids == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
    const std::vector<unsigned>& listed = call.machine.processes(call.index).vgpuPids;
    const std::size_t known = std::min<std::size_t>(listed.size(), kZanmlMaxVgpuPids);
    std::copy_n(listed.begin(), known, pids);
    return NVML_SUCCESS;
  });
}

nvmlReturn_t nvmlDeviceGetRetiredPages(nvmlDevice_t device, nvmlPageRetirementCause_t cause,
                                       unsigned int* count, unsigned long long* addresses) {
  return onGpu(Operation::nvmlDeviceGetRetiredPages, device, {device, cause, count},
               [&](const Call& call) {
                 const Number* const attribute = chosen(kRetiredPages, cause);
                 if (attribute == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
                 unsigned long long pages = 0;
                 const nvmlReturn_t code = readNumber(call, *attribute, pages);
                 if (code != NVML_SUCCESS) return code;
                 return writeList(call, pages, count, addresses, [&](std::size_t i) {
                   constexpr unsigned kPageBits = 12;
                   constexpr unsigned kAddressBits = 35;
                   return mix(call.index, static_cast<std::uint64_t>(cause), i) %
                              (1ULL << (kAddressBits - kPageBits))
                          << kPageBits;
                 });
               });
}

nvmlReturn_t nvmlDeviceGetCpuAffinityWithinScope(nvmlDevice_t device, unsigned int words,
                                                 unsigned long* mask, nvmlAffinityScope_t scope) {
  return onGpu(Operation::nvmlDeviceGetCpuAffinityWithinScope, device, {device, words, scope},
               [&](const Call& call) {
                 if (!isScope(scope)) return NVML_ERROR_INVALID_ARGUMENT;
                 return writeMask(call.host().numaNodes[call.gpu->place->numaNode].cpus, words,
                                  mask);
               });
}

nvmlReturn_t nvmlDeviceGetMemoryAffinity(nvmlDevice_t device, unsigned int words,
                                         unsigned long* mask, nvmlAffinityScope_t scope) {
  return onGpu(Operation::nvmlDeviceGetMemoryAffinity, device, {device, words, scope},
               [&](const Call& call) {
                 if (!isScope(scope)) return NVML_ERROR_INVALID_ARGUMENT;
                 return writeMask({call.gpu->place->numaNode}, words, mask);
               });
}

nvmlReturn_t nvmlDeviceGetTopologyNearestGpus(nvmlDevice_t device, nvmlGpuTopologyLevel_t level,
                                              unsigned int* count, nvmlDevice_t* devices) {
  return onGpu(Operation::nvmlDeviceGetTopologyNearestGpus, device, {device, level, count},
               [&](const Call& call) {
                 if (std::find(kLevels.begin(), kLevels.end(), level) == kLevels.end()) {
                   return NVML_ERROR_INVALID_ARGUMENT;
                 }
                 const std::vector<unsigned> gpus = nearestGpus(call.host(), call.index, level);
                 return writeList(call, gpus.size(), count, devices,
                                  [&](std::size_t i) { return call.session.handleOf(gpus[i]); });
               });
}

nvmlReturn_t nvmlDeviceGetTopologyCommonAncestor(nvmlDevice_t device, nvmlDevice_t other,
                                                 nvmlGpuTopologyLevel_t* level) {
  return onGpu(Operation::nvmlDeviceGetTopologyCommonAncestor, device, {device, other},
               [&](const Call& call) {
                 unsigned otherIndex = 0;
                 if (level == nullptr || !findOther(call, other, otherIndex)) {
                   return NVML_ERROR_INVALID_ARGUMENT;
                 }
                 *level = commonAncestor(call.host(), call.index, otherIndex);
                 return NVML_SUCCESS;
               });
}

nvmlReturn_t nvmlDeviceGetP2PStatus(nvmlDevice_t device, nvmlDevice_t other,
                                    nvmlGpuP2PCapsIndex_t capability, nvmlGpuP2PStatus_t* status) {
  return onGpu(
      Operation::nvmlDeviceGetP2PStatus, device, {device, other, capability},
      [&](const Call& call) {
        unsigned otherIndex = 0;
        const Number* const attribute = chosen(kP2pCapabilities, capability);
        if (status == nullptr || !findOther(call, other, otherIndex) || attribute == nullptr) {
          return NVML_ERROR_INVALID_ARGUMENT;
        }
        unsigned long long own = 0;
        unsigned long long others = 0;
        const nvmlReturn_t code = readNumber(call, *attribute, own);
        if (code != NVML_SUCCESS) return code;
        const nvmlReturn_t otherCode =
            readSource(call.host().gpus[otherIndex][*attribute], otherIndex, others);
        if (otherCode != NVML_SUCCESS) return otherCode;
        // A pair can do what both of its GPUs can.
        *status = static_cast<nvmlGpuP2PStatus_t>(own != NVML_P2P_STATUS_OK ? own : others);
        return NVML_SUCCESS;
      });
}
