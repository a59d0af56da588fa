#include "device/topology_reader.h"

#include "device/device_call.h"
#include "device/host.h"
#include "device/list_call.h"

namespace zanctl {
namespace {

constexpr std::uint32_t kBitsPerWord = 64;

using AffinityOperation =
    Operation<nvmlReturn_t(nvmlDevice_t, unsigned int, unsigned long*, nvmlAffinityScope_t)>;

template <typename Value, typename Function, typename... Inputs>
std::optional<Value> readPair(const Operation<Function>& operation, std::uint32_t other,
                              Inputs... inputs) {
  const auto& handles = session().handles;
  if (other >= handles.size() || handles[other] == nullptr) return std::nullopt;
  return readValue<Value>(operation, handles[other], inputs...);
}

std::vector<std::uint32_t> indicesOf(const std::vector<nvmlDevice_t>& handles) {
  std::vector<std::uint32_t> indices;
  for (nvmlDevice_t handle : handles) {
    unsigned int index = 0;
    if (library().nvmlDeviceGetIndex(handle, &index) == NVML_SUCCESS) indices.push_back(index);
  }
  return indices;
}

std::optional<std::string> readAffinity(const AffinityOperation& operation, std::uint32_t count) {
  std::vector<unsigned long> mask(count / kBitsPerWord + (count % kBitsPerWord == 0 ? 0 : 1));
  const auto words = static_cast<unsigned int>(mask.size());
  if (words == 0 || callOnCurrentDevice(operation, words, mask.data(), NVML_AFFINITY_SCOPE_NODE) !=
                        NVML_SUCCESS) {
    return std::nullopt;
  }
  return formatCpuSet(mask);
}

}  // namespace

const TopologyReader& topology() {
  static const TopologyReader instance;
  return instance;
}

std::optional<nvmlGpuTopologyLevel_t> TopologyReader::readCommonAncestor(
    std::uint32_t other) const {
  return readPair<nvmlGpuTopologyLevel_t>(library().nvmlDeviceGetTopologyCommonAncestor, other);
}

std::optional<nvmlGpuP2PStatus_t> TopologyReader::readP2pStatus(
    std::uint32_t other, nvmlGpuP2PCapsIndex_t capability) const {
  return readPair<nvmlGpuP2PStatus_t>(library().nvmlDeviceGetP2PStatus, other, capability);
}

std::vector<std::uint32_t> TopologyReader::readNearestGpus(nvmlGpuTopologyLevel_t level) const {
  return indicesOf(readList<nvmlDevice_t>([level](unsigned int* count, nvmlDevice_t* devices) {
    return callOnCurrentDevice(library().nvmlDeviceGetTopologyNearestGpus, level, count, devices);
  }));
}

std::vector<std::uint32_t> TopologyReader::readGpusNearCpu(std::uint32_t cpu) const {
  return indicesOf(readList<nvmlDevice_t>([cpu](unsigned int* count, nvmlDevice_t* devices) {
    return library().nvmlSystemGetTopologyGpuSet(cpu, count, devices);
  }));
}

std::optional<std::string> TopologyReader::readCpuAffinity(std::uint32_t count) const {
  return readAffinity(library().nvmlDeviceGetCpuAffinityWithinScope, count);
}

std::optional<std::string> TopologyReader::readMemoryAffinity(std::uint32_t count) const {
  return readAffinity(library().nvmlDeviceGetMemoryAffinity, count);
}

}  // namespace zanctl
