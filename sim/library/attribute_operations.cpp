// The operations that read attributes of one GPU. Those that only hand out one attribute are rows.
#include "library/answer.h"

#include <array>

using namespace zansim;

namespace {

template <std::size_t Size>
bool choose(const std::array<Number, Size>& attributes, int selector, Number& attribute) {
  if (selector < 0 || static_cast<std::size_t>(selector) >= Size) return false;
  attribute = attributes[static_cast<std::size_t>(selector)];
  return true;
}

// Reads the attribute that a selector of the call names; the array is in the selector's order.
template <std::size_t Size, typename Target>
nvmlReturn_t writeChosen(const Call& call, const std::array<Number, Size>& attributes, int selector,
                         Target* target) {
  Number attribute = Number::count;
  if (!choose(attributes, selector, attribute)) return NVML_ERROR_INVALID_ARGUMENT;
  return writeNumber(call, attribute, target);
}

constexpr std::array kTemperatures{Number::temperature};
constexpr std::array kThresholds{Number::temperatureShutdown, Number::temperatureSlowdown,
                                 Number::temperatureMemoryMax, Number::temperatureMax};
constexpr std::array kClocks{Number::clockGraphics, Number::clockSm, Number::clockMemory,
                             Number::clockVideo};
constexpr std::array kMaxClocks{Number::maxClockGraphics, Number::maxClockSm,
                                Number::maxClockMemory, Number::maxClockVideo};
constexpr std::array kThroughputs{Number::pcieTx, Number::pcieRx};
constexpr std::array kViolations{Number::violationPower, Number::violationThermal};

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

#define ZANSIM_TEXT(operation, attribute)                                                          \
  nvmlReturn_t operation(nvmlDevice_t device, char* text, unsigned int length) {                   \
    return onGpu(                                                                                  \
        Operation::operation,                                                                      \
        [&](const Call& call) { return writeText((*call.gpu)[attribute], text, length); }, device, \
        length);                                                                                   \
  }

ZANSIM_TEXT(nvmlDeviceGetName, Text::name)
ZANSIM_TEXT(nvmlDeviceGetSerial, Text::serial)
ZANSIM_TEXT(nvmlDeviceGetUUID, Text::uuid)
ZANSIM_TEXT(nvmlDeviceGetBoardPartNumber, Text::partNumber)
ZANSIM_TEXT(zanmlDeviceGetFirmwareVersion, Text::firmwareVersion)
ZANSIM_TEXT(zanmlDeviceGetHardwareVersion, Text::hardwareVersion)
ZANSIM_TEXT(zanmlDeviceGetBoardPn, Text::boardPn)
ZANSIM_TEXT(zanmlDeviceGetManufactureDate, Text::manufactureDate)

#define ZANSIM_NUMBER(operation, attribute, type)                                       \
  nvmlReturn_t operation(nvmlDevice_t device, Target<type> value) {                     \
    return onGpu(                                                                       \
        Operation::operation,                                                           \
        [&](const Call& call) { return writeNumber(call, attribute, value); }, device); \
  }

ZANSIM_NUMBER(nvmlDeviceGetMinorNumber, Number::minorNumber, unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetBoardId, Number::boardId, unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetMultiGpuBoard, Number::boardMulti, unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetFanSpeed, Number::fanSpeed, unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetPowerUsage, Number::powerUsage, unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetEnforcedPowerLimit, Number::enforcedPowerLimit, unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetPowerManagementLimit, Number::powerLimit, unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetCurrPcieLinkGeneration, Number::pcieGeneration, unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetCurrPcieLinkWidth, Number::pcieWidth, unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetMaxPcieLinkGeneration, Number::pcieMaxGeneration, unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetMaxPcieLinkWidth, Number::pcieMaxWidth, unsigned int)
ZANSIM_NUMBER(nvmlDeviceGetComputeMode, Number::computeMode, nvmlComputeMode_t)
ZANSIM_NUMBER(nvmlDeviceGetPerformanceState, Number::performanceState, nvmlPstates_t)
ZANSIM_NUMBER(nvmlDeviceGetVirtualizationMode, Number::virtualizationMode,
              nvmlGpuVirtualizationMode_t)
ZANSIM_NUMBER(nvmlDeviceGetHostVgpuMode, Number::hostVgpuMode, nvmlHostVgpuMode_t)
ZANSIM_NUMBER(nvmlDeviceGetCurrentClocksThrottleReasons, Number::throttleReasons,
              unsigned long long)
ZANSIM_NUMBER(zanmlDeviceGetBoardPosition, Number::boardPosition, unsigned int)
ZANSIM_NUMBER(zanmlDeviceGetBoardPowerUsage, Number::boardPowerUsage, unsigned int)
ZANSIM_NUMBER(zanmlDeviceGetBoardPowerLimit, Number::boardPowerLimit, unsigned int)
ZANSIM_NUMBER(zanmlDeviceGetGpuSn, Number::gpuSn, unsigned int)
ZANSIM_NUMBER(zanmlDeviceGetBoardTemperature, Number::boardTemperature, unsigned int)
ZANSIM_NUMBER(zanmlDeviceGetBoardSn, Number::boardSn, unsigned long long)

#define ZANSIM_PAIR(operation, attribute, type)                                               \
  nvmlReturn_t operation(nvmlDevice_t device, Target<type> first, Target<type> second) {      \
    return onGpu(                                                                             \
        Operation::operation,                                                                 \
        [&](const Call& call) { return writePair(call, attribute, first, second); }, device); \
  }

ZANSIM_PAIR(nvmlDeviceGetCudaComputeCapability, Number::computeCapability, int)
ZANSIM_PAIR(zanmlDeviceGetGPUVoltage, Number::voltageGpu, unsigned int)
ZANSIM_PAIR(zanmlDeviceGetVddVoltage, Number::voltageVdd, unsigned int)
ZANSIM_PAIR(zanmlDeviceGetMemVoltage, Number::voltageMemory, unsigned int)

#define ZANSIM_CHOSEN(operation, attributes, selectorType)                                        \
  nvmlReturn_t operation(nvmlDevice_t device, selectorType selector, unsigned int* value) {       \
    return onGpu(                                                                                 \
        Operation::operation,                                                                     \
        [&](const Call& call) { return writeChosen(call, attributes, selector, value); }, device, \
        selector);                                                                                \
  }

ZANSIM_CHOSEN(nvmlDeviceGetTemperature, kTemperatures, nvmlTemperatureSensors_t)
ZANSIM_CHOSEN(nvmlDeviceGetTemperatureThreshold, kThresholds, nvmlTemperatureThresholds_t)
ZANSIM_CHOSEN(nvmlDeviceGetClockInfo, kClocks, nvmlClockType_t)
ZANSIM_CHOSEN(nvmlDeviceGetMaxClockInfo, kMaxClocks, nvmlClockType_t)
ZANSIM_CHOSEN(nvmlDeviceGetPcieThroughput, kThroughputs, nvmlPcieUtilCounter_t)

#define ZANSIM_CODEC(operation, attribute)                                                   \
  nvmlReturn_t operation(nvmlDevice_t device, unsigned int* percent, unsigned int* us) {     \
    return onGpu(                                                                            \
        Operation::operation,                                                                \
        [&](const Call& call) { return writeCodec(call, attribute, percent, us); }, device); \
  }

ZANSIM_CODEC(nvmlDeviceGetEncoderUtilization, Number::utilizationEncoder)
ZANSIM_CODEC(nvmlDeviceGetDecoderUtilization, Number::utilizationDecoder)

nvmlReturn_t nvmlDeviceGetIndex(nvmlDevice_t device, unsigned int* index) {
  return onGpu(
      Operation::nvmlDeviceGetIndex,
      [&](const Call& call) {
        if (index == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
        *index = call.index;
        return NVML_SUCCESS;
      },
      device);
}

nvmlReturn_t nvmlDeviceGetClock(nvmlDevice_t device, nvmlClockType_t type, nvmlClockId_t id,
                                unsigned int* megahertz) {
  return onGpu(
      Operation::nvmlDeviceGetClock,
      [&](const Call& call) {
        if (id != NVML_CLOCK_ID_CURRENT) return NVML_ERROR_INVALID_ARGUMENT;
        return writeChosen(call, kClocks, type, megahertz);
      },
      device, type, id);
}

nvmlReturn_t nvmlDeviceGetPciInfo(nvmlDevice_t device, nvmlPciInfo_t* pci) {
  return onGpu(
      Operation::nvmlDeviceGetPciInfo,
      [&](const Call& call) {
        if (pci == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
        nvmlPciInfo_t info = {};
        for (const nvmlReturn_t code :
             {writeNumber(call, Number::pciDomain, &info.domain),
              writeNumber(call, Number::pciBus, &info.bus),
              writeNumber(call, Number::pciDevice, &info.device),
              writeNumber(call, Number::pciDeviceId, &info.pciDeviceId),
              writeNumber(call, Number::pciSubsystemId, &info.pciSubSystemId),
              writeText((*call.gpu)[Text::pciBusId], info.busId, sizeof info.busId),
              writeText((*call.gpu)[Text::pciBusIdLegacy], info.busIdLegacy,
                        sizeof info.busIdLegacy)}) {
          if (code != NVML_SUCCESS) return code;
        }
        *pci = info;
        return NVML_SUCCESS;
      },
      device);
}

nvmlReturn_t nvmlDeviceGetEccMode(nvmlDevice_t device, nvmlEnableState_t* current,
                                  nvmlEnableState_t* pending) {
  return onGpu(
      Operation::nvmlDeviceGetEccMode,
      [&](const Call& call) {
        if (current == nullptr || pending == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
        return writeBoth(call, Number::eccCurrent, Number::eccPending, current, pending);
      },
      device);
}

nvmlReturn_t nvmlDeviceGetUtilizationRates(nvmlDevice_t device, nvmlUtilization_t* utilization) {
  return onGpu(
      Operation::nvmlDeviceGetUtilizationRates,
      [&](const Call& call) {
        if (utilization == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
        return writeBoth(call, Number::utilizationGpu, Number::utilizationMemory, &utilization->gpu,
                         &utilization->memory);
      },
      device);
}

nvmlReturn_t nvmlDeviceGetMemoryInfo(nvmlDevice_t device, nvmlMemory_t* memory) {
  return onGpu(
      Operation::nvmlDeviceGetMemoryInfo,
      [&](const Call& call) {
        if (memory == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
        const nvmlReturn_t code =
            writeBoth(call, Number::memoryTotal, Number::memoryUsed, &memory->total, &memory->used);
        if (code != NVML_SUCCESS) return code;
        memory->free = memory->used > memory->total ? 0 : memory->total - memory->used;
        return NVML_SUCCESS;
      },
      device);
}

nvmlReturn_t nvmlDeviceGetViolationStatus(nvmlDevice_t device, nvmlPerfPolicyType_t policy,
                                          nvmlViolationTime_t* violation) {
  return onGpu(
      Operation::nvmlDeviceGetViolationStatus,
      [&](const Call& call) {
        if (violation == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
        const nvmlReturn_t code = writeChosen(call, kViolations, policy, &violation->violationTime);
        if (code == NVML_SUCCESS) {
          violation->referenceTime = static_cast<unsigned long long>(wallNow());
        }
        return code;
      },
      device, policy);
}
