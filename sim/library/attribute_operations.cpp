// The operations that read attributes of one GPU. Those that only hand out one attribute are rows.
#include "library/answer.h"

#include <array>

using namespace zansim;

namespace {

constexpr std::array kTemperatures{Number("temperature")};
constexpr std::array kThresholds{Number("temperature_shutdown"), Number("temperature_slowdown"),
                                 Number("temperature_memory_max"), Number("temperature_max")};
constexpr std::array kClocks{Number("clocks/graphics"), Number("clocks/sm"),
                             Number("clocks/memory"), Number("clocks/video")};
constexpr std::array kMaxClocks{Number("max_clocks/graphics"), Number("max_clocks/sm"),
                                Number("max_clocks/memory"), Number("max_clocks/video")};
constexpr std::array kThroughputs{Number("pcie/tx"), Number("pcie/rx")};
constexpr std::array kViolations{Number("violation/power"), Number("violation/thermal")};

constexpr unsigned int kSamplingPeriodUs = 167'000;

template <typename Type>
using Target = Type*;

}  // namespace

#define ZANSIM_TEXT(operation, path)                                                           \
  nvmlReturn_t operation(nvmlDevice_t device, char* text, unsigned int length) {               \
    return onGpu(Operation::operation, device, {device, length},                               \
                 [&](const Call& call) { writeText((*call.gpu)[Text(path)], text, length); }); \
  }

ZANSIM_TEXT(nvmlDeviceGetName, "name")
ZANSIM_TEXT(nvmlDeviceGetSerial, "serial")
ZANSIM_TEXT(nvmlDeviceGetUUID, "uuid")
ZANSIM_TEXT(nvmlDeviceGetBoardPartNumber, "part_number")
ZANSIM_TEXT(zanmlDeviceGetFirmwareVersion, "firmware_version")
ZANSIM_TEXT(zanmlDeviceGetHardwareVersion, "hardware_version")
ZANSIM_TEXT(zanmlDeviceGetBoardPn, "board/pn")
ZANSIM_TEXT(zanmlDeviceGetManufactureDate, "manufacture_date")

#define ZANSIM_NUMBER(operation, path, type)                                         \
  nvmlReturn_t operation(nvmlDevice_t device, Target<type> value) {                  \
    return onGpu(Operation::operation, device, {device},                             \
                 [&](const Call& call) { writeNumber(call, Number(path), value); }); \
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

#define ZANSIM_PAIR(operation, path, type)                                               \
  nvmlReturn_t operation(nvmlDevice_t device, Target<type> first, Target<type> second) { \
    return onGpu(Operation::operation, device, {device}, [&](const Call& call) {         \
      writePair(valueOf(call, Number(path)), first, second);                             \
    });                                                                                  \
  }

ZANSIM_PAIR(nvmlDeviceGetCudaComputeCapability, "compute_capability", int)
ZANSIM_PAIR(zanmlDeviceGetGPUVoltage, "voltages/gpu", unsigned int)
ZANSIM_PAIR(zanmlDeviceGetVddVoltage, "voltages/vdd", unsigned int)
ZANSIM_PAIR(zanmlDeviceGetMemVoltage, "voltages/memory", unsigned int)

#define ZANSIM_CHOSEN(operation, attributes, selectorType)                                  \
  nvmlReturn_t operation(nvmlDevice_t device, selectorType selector, unsigned int* value) { \
    return onGpu(Operation::operation, device, {device, selector}, [&](const Call& call) {  \
      writeNumber(call, chosen(attributes, selector), value);                               \
    });                                                                                     \
  }

ZANSIM_CHOSEN(nvmlDeviceGetTemperature, kTemperatures, nvmlTemperatureSensors_t)
ZANSIM_CHOSEN(nvmlDeviceGetTemperatureThreshold, kThresholds, nvmlTemperatureThresholds_t)
ZANSIM_CHOSEN(nvmlDeviceGetClockInfo, kClocks, nvmlClockType_t)
ZANSIM_CHOSEN(nvmlDeviceGetMaxClockInfo, kMaxClocks, nvmlClockType_t)
ZANSIM_CHOSEN(nvmlDeviceGetPcieThroughput, kThroughputs, nvmlPcieUtilCounter_t)

#define ZANSIM_CODEC(operation, path)                                                    \
  nvmlReturn_t operation(nvmlDevice_t device, unsigned int* percent, unsigned int* us) { \
    return onGpu(Operation::operation, device, {device}, [&](const Call& call) {         \
      required(us);                                                                      \
      writeNumber(call, Number(path), percent);                                          \
      *us = kSamplingPeriodUs;                                                           \
    });                                                                                  \
  }

ZANSIM_CODEC(nvmlDeviceGetEncoderUtilization, "utilization/encoder")
ZANSIM_CODEC(nvmlDeviceGetDecoderUtilization, "utilization/decoder")

nvmlReturn_t nvmlDeviceGetIndex(nvmlDevice_t device, unsigned int* index) {
  return onGpu(Operation::nvmlDeviceGetIndex, device, {device},
               [&](const Call& call) { writeValue(call.index, index); });
}

nvmlReturn_t nvmlDeviceGetClock(nvmlDevice_t device, nvmlClockType_t type, nvmlClockId_t id,
                                unsigned int* megahertz) {
  return onGpu(Operation::nvmlDeviceGetClock, device, {device, type, id}, [&](const Call& call) {
    if (id != NVML_CLOCK_ID_CURRENT) throw NVML_ERROR_INVALID_ARGUMENT;
    writeNumber(call, chosen(kClocks, type), megahertz);
  });
}

// Structures are had whole or not at all.

nvmlReturn_t nvmlDeviceGetPciInfo(nvmlDevice_t device, nvmlPciInfo_t* pci) {
  return onGpu(Operation::nvmlDeviceGetPciInfo, device, {device}, [&](const Call& call) {
    required(pci);
    nvmlPciInfo_t info = {};
    writeNumber(call, Number("pci/domain"), &info.domain);
    writeNumber(call, Number("pci/bus"), &info.bus);
    writeNumber(call, Number("pci/device"), &info.device);
    writeNumber(call, Number("pci/device_id"), &info.pciDeviceId);
    writeNumber(call, Number("pci/subsystem_id"), &info.pciSubSystemId);
    writeText((*call.gpu)[Text("pci/bus_id")], info.busId, sizeof info.busId);
    writeText((*call.gpu)[Text("pci/bus_id_legacy")], info.busIdLegacy, sizeof info.busIdLegacy);
    *pci = info;
  });
}

nvmlReturn_t nvmlDeviceGetEccMode(nvmlDevice_t device, nvmlEnableState_t* current,
                                  nvmlEnableState_t* pending) {
  return onGpu(Operation::nvmlDeviceGetEccMode, device, {device}, [&](const Call& call) {
    required(current);
    required(pending);
    const std::uint64_t first = valueOf(call, Number("ecc/current"));
    writeNumber(call, Number("ecc/pending"), pending);
    writeValue(first, current);
  });
}

nvmlReturn_t nvmlDeviceGetUtilizationRates(nvmlDevice_t device, nvmlUtilization_t* utilization) {
  return onGpu(Operation::nvmlDeviceGetUtilizationRates, device, {device}, [&](const Call& call) {
    required(utilization);
    nvmlUtilization_t rates = {};
    writeNumber(call, Number("utilization/gpu"), &rates.gpu);
    writeNumber(call, Number("utilization/memory"), &rates.memory);
    *utilization = rates;
  });
}

nvmlReturn_t nvmlDeviceGetMemoryInfo(nvmlDevice_t device, nvmlMemory_t* memory) {
  return onGpu(Operation::nvmlDeviceGetMemoryInfo, device, {device}, [&](const Call& call) {
    required(memory);
    const std::uint64_t total = valueOf(call, Number("memory/total"));
    const std::uint64_t used = valueOf(call, Number("memory/used"));
    *memory = {.total = total, .free = used > total ? 0 : total - used, .used = used};
  });
}

nvmlReturn_t nvmlDeviceGetViolationStatus(nvmlDevice_t device, nvmlPerfPolicyType_t policy,
                                          nvmlViolationTime_t* violation) {
  return onGpu(Operation::nvmlDeviceGetViolationStatus, device, {device, policy},
               [&](const Call& call) {
                 const std::uint64_t time = valueOf(call, chosen(kViolations, policy));
                 required(violation) = {.referenceTime = static_cast<unsigned long long>(wallNow()),
                                        .violationTime = time};
               });
}
