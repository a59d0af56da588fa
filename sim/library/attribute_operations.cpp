// The operations that read attributes of one GPU. Those that only hand out one attribute are rows.
#include "library/answer.h"

#include <array>

using namespace zansim;

namespace {

// Reads the attribute that a selector of the call names; the array is in the selector's order.
template <std::size_t Size, typename Target>
nvmlReturn_t writeChosen(const Call& call, const std::array<Number, Size>& attributes, int selector,
                         Target* target) {
  const Number* const attribute = chosen(attributes, selector);
  return attribute == nullptr ? NVML_ERROR_INVALID_ARGUMENT : writeNumber(call, *attribute, target);
}

constexpr std::array kTemperatures{Number("temperature")};
constexpr std::array kThresholds{Number("temperature_shutdown"), Number("temperature_slowdown"),
                                 Number("temperature_memory_max"), Number("temperature_max")};
constexpr std::array kClocks{Number("clocks/graphics"), Number("clocks/sm"),
                             Number("clocks/memory"), Number("clocks/video")};
constexpr std::array kMaxClocks{Number("max_clocks/graphics"), Number("max_clocks/sm"),
                                Number("max_clocks/memory"), Number("max_clocks/video")};
constexpr std::array kThroughputs{Number("pcie/tx"), Number("pcie/rx")};
constexpr std::array kViolations{Number("violation/power"), Number("violation/thermal")};

// The two figures of one structure: it is had whole or not at all.
template <typename Target>
nvmlReturn_t writeBoth(const Call& call, Number first, Number second, Target* firstTarget,
                       Target* secondTarget) {
  unsigned long long values[2] = {};
  const nvmlReturn_t code = readNumber(call, first, values[0]);
  if (code != NVML_SUCCESS) return code;
  const nvmlReturn_t secondCode = readNumber(call, second, values[1]);
  if (secondCode != NVML_SUCCESS) return secondCode;
  *firstTarget = static_cast<Target>(values[0]);
  *secondTarget = static_cast<Target>(values[1]);
  return NVML_SUCCESS;
}

constexpr unsigned int kSamplingPeriodUs = 167'000;

nvmlReturn_t writeCodec(const Call& call, Number attribute, unsigned int* percent,
                        unsigned int* samplingPeriodUs) {
  if (samplingPeriodUs == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
  const nvmlReturn_t code = writeNumber(call, attribute, percent);
  if (code == NVML_SUCCESS) *samplingPeriodUs = kSamplingPeriodUs;
  return code;
}

template <typename Type>
using Target = Type*;

}  // namespace

#define ZANSIM_TEXT(operation, path)                                                     \
  nvmlReturn_t operation(nvmlDevice_t device, char* text, unsigned int length) {         \
    return onGpu(Operation::operation, device, {device, length}, [&](const Call& call) { \
      return writeText((*call.gpu)[Text(path)], text, length);                           \
    });                                                                                  \
  }

ZANSIM_TEXT(nvmlDeviceGetName, "name")
ZANSIM_TEXT(nvmlDeviceGetSerial, "serial")
ZANSIM_TEXT(nvmlDeviceGetUUID, "uuid")
ZANSIM_TEXT(nvmlDeviceGetBoardPartNumber, "part_number")
ZANSIM_TEXT(zanmlDeviceGetFirmwareVersion, "firmware_version")
ZANSIM_TEXT(zanmlDeviceGetHardwareVersion, "hardware_version")
ZANSIM_TEXT(zanmlDeviceGetBoardPn, "board/pn")
ZANSIM_TEXT(zanmlDeviceGetManufactureDate, "manufacture_date")

#define ZANSIM_NUMBER(operation, path, type)                                                \
  nvmlReturn_t operation(nvmlDevice_t device, Target<type> value) {                         \
    return onGpu(Operation::operation, device, {device},                                    \
                 [&](const Call& call) { return writeNumber(call, Number(path), value); }); \
  }

ZANSIM_NUMBER(nvmlDeviceGetMinorNumber, "minor_number", unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetBoardId, "board/id", unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetMultiGpuBoard, "board/multi", unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetFanSpeed, "fan_speed", unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetPowerUsage, "power_usage", unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetEnforcedPowerLimit, "enforced_power_limit", unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetPowerManagementLimit, "power_limit", unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetCurrPcieLinkGeneration, "pcie/generation", unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetCurrPcieLinkWidth, "pcie/width", unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetMaxPcieLinkGeneration, "pcie/max_generation", unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetMaxPcieLinkWidth, "pcie/max_width", unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetComputeMode, "compute_mode", nvmlComputeMode_t)
ZANSIM_NUMBER(nvmlDeviceGetPerformanceState, "performance_state", nvmlPstates_t)
ZANSIM_NUMBER(nvmlDeviceGetVirtualizationMode, "virtualization_mode", nvmlGpuVirtualizationMode_t)
ZANSIM_NUMBER(nvmlDeviceGetHostVgpuMode, "host_vgpu_mode", nvmlHostVgpuMode_t)
ZANSIM_NUMBER(nvmlDeviceGetCurrentClocksThrottleReasons, "throttle_reasons", unsigned long long)
ZANSIM_NUMBER(zanmlDeviceGetBoardPosition, "board/position", unsigned int)
ZANSIM_NUMBER(zanmlDeviceGetBoardPowerUsage, "board/power_usage", unsigned int)
ZANSIM_NUMBER(zanmlDeviceGetBoardPowerLimit, "board/power_limit", unsigned int)
ZANSIM_NUMBER(zanmlDeviceGetGpuSn, "gpu_sn", unsigned int)
ZANSIM_NUMBER(zanmlDeviceGetBoardTemperature, "board/temperature", unsigned int)
ZANSIM_NUMBER(zanmlDeviceGetBoardSn, "board/sn", unsigned long long)

#define ZANSIM_PAIR(operation, path, type)                                                        \
  nvmlReturn_t operation(nvmlDevice_t device, Target<type> first, Target<type> second) {          \
    return onGpu(Operation::operation, device, {device},                                          \
                 [&](const Call& call) { return writePair(call, Number(path), first, second); }); \
  }

ZANSIM_PAIR(nvmlDeviceGetCudaComputeCapability, "compute_capability", int)
ZANSIM_PAIR(zanmlDeviceGetGPUVoltage, "voltages/gpu", unsigned int)
ZANSIM_PAIR(zanmlDeviceGetVddVoltage, "voltages/vdd", unsigned int)
ZANSIM_PAIR(zanmlDeviceGetMemVoltage, "voltages/memory", unsigned int)

#define ZANSIM_CHOSEN(operation, attributes, selectorType)                                  \
  nvmlReturn_t operation(nvmlDevice_t device, selectorType selector, unsigned int* value) { \
    return onGpu(Operation::operation, device, {device, selector}, [&](const Call& call) {  \
      return writeChosen(call, attributes, selector, value);                                \
    });                                                                                     \
  }

ZANSIM_CHOSEN(nvmlDeviceGetTemperature, kTemperatures, nvmlTemperatureSensors_t)
ZANSIM_CHOSEN(nvmlDeviceGetTemperatureThreshold, kThresholds, nvmlTemperatureThresholds_t)
ZANSIM_CHOSEN(nvmlDeviceGetClockInfo, kClocks, nvmlClockType_t)
ZANSIM_CHOSEN(nvmlDeviceGetMaxClockInfo, kMaxClocks, nvmlClockType_t)
ZANSIM_CHOSEN(nvmlDeviceGetPcieThroughput, kThroughputs, nvmlPcieUtilCounter_t)

#define ZANSIM_CODEC(operation, path)                                                            \
  nvmlReturn_t operation(nvmlDevice_t device, unsigned int* percent, unsigned int* us) {         \
    return onGpu(Operation::operation, device, {device},                                         \
                 [&](const Call& call) { return writeCodec(call, Number(path), percent, us); }); \
  }

ZANSIM_CODEC(nvmlDeviceGetEncoderUtilization, "utilization/encoder")
ZANSIM_CODEC(nvmlDeviceGetDecoderUtilization, "utilization/decoder")

nvmlReturn_t nvmlDeviceGetIndex(nvmlDevice_t device, unsigned int* index) {
  return onGpu(Operation::nvmlDeviceGetIndex, device, {device}, [&](const Call& call) {
    if (index == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
    *index = call.index;
    return NVML_SUCCESS;
  });
}

nvmlReturn_t nvmlDeviceGetClock(nvmlDevice_t device, nvmlClockType_t type, nvmlClockId_t id,
                                unsigned int* megahertz) {
  return onGpu(Operation::nvmlDeviceGetClock, device, {device, type, id}, [&](const Call& call) {
    if (id != NVML_CLOCK_ID_CURRENT) return NVML_ERROR_INVALID_ARGUMENT;
    return writeChosen(call, kClocks, type, megahertz);
  });
}

nvmlReturn_t nvmlDeviceGetPciInfo(nvmlDevice_t device, nvmlPciInfo_t* pci) {
  return onGpu(Operation::nvmlDeviceGetPciInfo, device, {device}, [&](const Call& call) {
    if (pci == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
    nvmlPciInfo_t info = {};
    for (const nvmlReturn_t code :
         {writeNumber(call, Number("pci/domain"), &info.domain),
          writeNumber(call, Number("pci/bus"), &info.bus),
          writeNumber(call, Number("pci/device"), &info.device),
          writeNumber(call, Number("pci/device_id"), &info.pciDeviceId),
          writeNumber(call, Number("pci/subsystem_id"), &info.pciSubSystemId),
          writeText((*call.gpu)[Text("pci/bus_id")], info.busId, sizeof info.busId),
          writeText((*call.gpu)[Text("pci/bus_id_legacy")], info.busIdLegacy,
                    sizeof info.busIdLegacy)}) {
      if (code != NVML_SUCCESS) return code;
    }
    *pci = info;
    return NVML_SUCCESS;
  });
}

nvmlReturn_t nvmlDeviceGetEccMode(nvmlDevice_t device, nvmlEnableState_t* current,
                                  nvmlEnableState_t* pending) {
  return onGpu(Operation::nvmlDeviceGetEccMode, device, {device}, [&](const Call& call) {
    if (current == nullptr || pending == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
    return writeBoth(call, Number("ecc/current"), Number("ecc/pending"), current, pending);
  });
}

nvmlReturn_t nvmlDeviceGetUtilizationRates(nvmlDevice_t device, nvmlUtilization_t* utilization) {
  return onGpu(Operation::nvmlDeviceGetUtilizationRates, device, {device}, [&](const Call& call) {
    if (utilization == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
    return writeBoth(call, Number("utilization/gpu"), Number("utilization/memory"),
                     &utilization->gpu, &utilization->memory);
  });
}

nvmlReturn_t nvmlDeviceGetMemoryInfo(nvmlDevice_t device, nvmlMemory_t* memory) {
  return onGpu(Operation::nvmlDeviceGetMemoryInfo, device, {device}, [&](const Call& call) {
    if (memory == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
    const nvmlReturn_t code = writeBoth(call, Number("memory/total"), Number("memory/used"),
                                        &memory->total, &memory->used);
    if (code != NVML_SUCCESS) return code;
    memory->free = memory->used > memory->total ? 0 : memory->total - memory->used;
    return NVML_SUCCESS;
  });
}

nvmlReturn_t nvmlDeviceGetViolationStatus(nvmlDevice_t device, nvmlPerfPolicyType_t policy,
                                          nvmlViolationTime_t* violation) {
  return onGpu(
      Operation::nvmlDeviceGetViolationStatus, device, {device, policy}, [&](const Call& call) {
        if (violation == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
        const nvmlReturn_t code = writeChosen(call, kViolations, policy, &violation->violationTime);
        if (code == NVML_SUCCESS) {
          violation->referenceTime = static_cast<unsigned long long>(wallNow());
        }
        return code;
      });
}
