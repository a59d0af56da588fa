#include "device/vgpu_readers.h"

#include "device/attributes.h"
#include "device/device_call.h"
#include "device/list_call.h"
#include "device/records.h"

#include <array>
#include <map>

#include <string.h>

namespace zanctl {
namespace {

constexpr int kMiBShift = 20;
constexpr unsigned long long kSinceEver = 0;

// A library that lists more vGPUs or types is out of its mind, and each takes a record.
constexpr std::size_t kMostListed = 65'536;

// Of vGPUs or types; no value when unavailable.
template <typename ListCall>
std::optional<std::vector<std::uint32_t>> readIds(const ListCall& call) {
  auto ids = readListIfAny<std::uint32_t>(call);
  return ids && ids->size() > kMostListed ? std::nullopt : std::move(ids);
}

// Reads the text that `call(buffer, size)` writes.
template <unsigned int size, typename TextCall>
std::optional<std::string> textIfAny(const TextCall& call) {
  std::array<char, size> text{};
  if (call(text.data(), size) != NVML_SUCCESS) return std::nullopt;
  return cleanText({text.data(), strnlen(text.data(), size)});
}

template <unsigned int size, typename TextCall>
std::string textOf(const TextCall& call) {
  return textIfAny<size>(call).value_or(kUnavailableText);
}

std::string instanceText(
    const Operation<nvmlReturn_t(nvmlVgpuInstance_t, char*, unsigned int)>& operation,
    nvmlVgpuInstance_t id) {
  return textOf<kZanmlVmTextSize>(
      [&](char* text, unsigned int size) { return operation(id, text, size); });
}

std::string vmUuid(nvmlVgpuInstance_t id) {
  return textOf<kZanmlVmTextSize>([id](char* text, unsigned int size) {
    nvmlVgpuVmIdType_t type{};
    return library().nvmlVgpuInstanceGetVmID(id, text, size, &type);
  });
}

std::string instanceBusId(nvmlVgpuInstance_t id) {
  return textOf<kZanmlVmTextSize>([id](char* text, unsigned int size) {
    return library().nvmlVgpuInstanceGetGpuPciId(id, text, &size);
  });
}

std::string typeText(
    const Operation<nvmlReturn_t(nvmlVgpuTypeId_t, char*, unsigned int*)>& operation,
    nvmlVgpuTypeId_t id) {
  return textOf<kZanmlVgpuTypeTextSize>(
      [&](char* text, unsigned int size) { return operation(id, text, &size); });
}

// A number of an instance or a type; 0 when unavailable.
template <typename Value>
Value numberOf(const Operation<nvmlReturn_t(unsigned int, Value*)>& operation, unsigned int id) {
  Value value{};
  return operation(id, &value) == NVML_SUCCESS ? value : Value{};
}

// What an instance shows of its type.
struct InstanceType {
  std::string name = kUnavailableText;
  std::uint64_t memoryBytes = 0;
};

using InstanceTypes = std::map<nvmlVgpuTypeId_t, InstanceType>;

InstanceType typeOfInstance(nvmlVgpuInstance_t id, VgpuDetail detail, InstanceTypes& known) {
  nvmlVgpuTypeId_t typeId = 0;
  if (library().nvmlVgpuInstanceGetType(id, &typeId) != NVML_SUCCESS) return {};
  const auto [type, isNew] = known.try_emplace(typeId);
  if (isNew) {
    type->second.name = typeText(library().nvmlVgpuTypeGetName, typeId);
    if (detail == VgpuDetail::all) {
      type->second.memoryBytes = numberOf(library().nvmlVgpuTypeGetFramebufferSize, typeId);
    }
  }
  return type->second;
}

void readDetails(VgpuInstance& instance, std::uint64_t totalBytes) {
  const Library& lib = library();
  const nvmlVgpuInstance_t id = instance.id;
  const std::uint64_t usedBytes = numberOf(lib.nvmlVgpuInstanceGetFbUsage, id);
  instance.uuid = instanceText(lib.nvmlVgpuInstanceGetUUID, id);
  instance.mdevUuid = instanceText(lib.nvmlVgpuInstanceGetMdevUUID, id);
  instance.guestDriverVersion = instanceText(lib.nvmlVgpuInstanceGetVmDriverVersion, id);
  instance.eccMode = static_cast<std::uint32_t>(numberOf(lib.nvmlVgpuInstanceGetEccMode, id));
  instance.busId = instanceBusId(id);
  instance.memoryTotal = totalBytes >> kMiBShift;
  instance.memoryUsed = usedBytes >> kMiBShift;
  instance.memoryFree = totalBytes < usedBytes ? 0 : (totalBytes - usedBytes) >> kMiBShift;
}

VgpuInstance readInstance(nvmlVgpuInstance_t id, VgpuDetail detail, InstanceTypes& knownTypes) {
  const InstanceType type = typeOfInstance(id, detail, knownTypes);
  VgpuInstance instance{};
  instance.id = id;
  instance.vmUuid = vmUuid(id);
  instance.vmName = instanceText(library().zanmlVgpuInstanceGetVmName, id);
  instance.typeName = type.name;
  if (detail == VgpuDetail::all) readDetails(instance, type.memoryBytes);
  return instance;
}

// The library says of all values of a list which member of the union holds them.
std::uint32_t percentOf(const nvmlValue_t& value, nvmlValueType_t type) {
  switch (type) {
    case NVML_VALUE_TYPE_DOUBLE:
      return value.dVal > 0 && value.dVal < kUnavailable ? static_cast<std::uint32_t>(value.dVal)
                                                         : 0;
    case NVML_VALUE_TYPE_UNSIGNED_LONG:
      return static_cast<std::uint32_t>(value.ulVal);
    case NVML_VALUE_TYPE_UNSIGNED_LONG_LONG:
      return static_cast<std::uint32_t>(value.ullVal);
    case NVML_VALUE_TYPE_SIGNED_LONG_LONG:
      return static_cast<std::uint32_t>(value.sllVal);
    default:
      return value.uiVal;
  }
}

VgpuType readType(nvmlVgpuTypeId_t id, VgpuDetail detail) {
  VgpuType type{};
  type.id = id;
  type.name = typeText(library().nvmlVgpuTypeGetName, id);
  if (detail == VgpuDetail::names) return type;
  type.typeClass = typeText(library().nvmlVgpuTypeGetClass, id);
  type.maxInstances =
      readValue<unsigned int>(library().nvmlVgpuTypeGetMaxInstances, id).value_or(0);
  unsigned long long deviceId = 0;
  unsigned long long subsystemId = 0;
  if (library().nvmlVgpuTypeGetDeviceID(id, &deviceId, &subsystemId) == NVML_SUCCESS) {
    type.deviceId = deviceId;
    type.subsystemId = subsystemId;
  }
  return type;
}

}  // namespace

bool isInVgpuMode() {
  const auto mode = attributes::virtualizationMode();
  return mode == NVML_GPU_VIRTUALIZATION_MODE_VGPU ||
         mode == NVML_GPU_VIRTUALIZATION_MODE_HOST_VGPU;
}

std::optional<std::vector<std::uint32_t>> activeVgpuIds() {
  return readIds([](unsigned int* count, nvmlVgpuInstance_t* ids) {
    return callOnCurrentDevice(library().nvmlDeviceGetActiveVgpus, count, ids);
  });
}

std::vector<std::uint32_t> readVgpuIds() {
  return activeVgpuIds().value_or(std::vector<std::uint32_t>());
}

std::optional<std::string> vgpuVmName(std::uint32_t id) {
  return textIfAny<kZanmlVmTextSize>([id](char* text, unsigned int size) {
    return library().zanmlVgpuInstanceGetVmName(id, text, size);
  });
}

std::optional<std::string> vgpuTypeName(std::uint32_t id) {
  nvmlVgpuTypeId_t type = 0;
  if (library().nvmlVgpuInstanceGetType(id, &type) != NVML_SUCCESS) return std::nullopt;
  return textIfAny<kZanmlVgpuTypeTextSize>([type](char* text, unsigned int size) {
    return library().nvmlVgpuTypeGetName(type, text, &size);
  });
}

std::optional<std::uint64_t> vgpuMemoryUsed(std::uint32_t id) {
  unsigned long long bytes = 0;
  if (library().nvmlVgpuInstanceGetFbUsage(id, &bytes) != NVML_SUCCESS) return std::nullopt;
  return bytes;
}

std::vector<VgpuInstance> readVgpuInstances(VgpuDetail detail) {
  InstanceTypes knownTypes;
  std::vector<VgpuInstance> instances;
  for (const nvmlVgpuInstance_t id : readVgpuIds()) {
    instances.push_back(readInstance(id, detail, knownTypes));
  }
  return instances;
}

std::vector<VgpuSample> readVgpuSamples() {
  using Sample = nvmlVgpuInstanceUtilizationSample_t;
  nvmlValueType_t type = NVML_VALUE_TYPE_UNSIGNED_INT;
  const auto samples = readList<Sample>([&type](unsigned int* count, Sample* entries) {
    return callOnCurrentDevice(library().nvmlDeviceGetVgpuUtilization, kSinceEver, &type, count,
                               entries);
  });
  std::vector<VgpuSample> records;
  records.reserve(samples.size());
  for (const Sample& sample : samples) {
    records.push_back({sample.vgpuInstance,
                       {percentOf(sample.smUtil, type), percentOf(sample.memUtil, type),
                        percentOf(sample.encUtil, type), percentOf(sample.decUtil, type)}});
  }
  return records;
}

std::vector<VgpuProcessSample> readVgpuProcessSamples() {
  using Sample = nvmlVgpuProcessUtilizationSample_t;
  const auto samples = readList<Sample>([](unsigned int* count, Sample* entries) {
    return callOnCurrentDevice(library().nvmlDeviceGetVgpuProcessUtilization, kSinceEver, count,
                               entries);
  });
  std::vector<VgpuProcessSample> records;
  records.reserve(samples.size());
  for (const Sample& sample : samples) {
    records.push_back(
        {sample.vgpuInstance,
         sample.pid,
         cleanText({sample.processName, strnlen(sample.processName, sizeof sample.processName)}),
         {sample.smUtil, sample.memUtil, sample.encUtil, sample.decUtil}});
  }
  return records;
}

std::vector<VgpuType> readVgpuTypes(VgpuTypes which, VgpuDetail detail) {
  const auto& operation = which == VgpuTypes::supported ? library().nvmlDeviceGetSupportedVgpus
                                                        : library().nvmlDeviceGetCreatableVgpus;
  const auto ids = readIds([&operation](unsigned int* count, nvmlVgpuTypeId_t* entries) {
    return callOnCurrentDevice(operation, count, entries);
  });
  std::vector<VgpuType> types;
  if (!ids) return types;
  types.reserve(ids->size());
  for (const nvmlVgpuTypeId_t id : *ids) types.push_back(readType(id, detail));
  return types;
}

}  // namespace zanctl
