#include "device/attributes.h"

#include "device/device_call.h"

namespace zanctl::attributes {
namespace {

using Number = std::optional<std::uint32_t>;

Number readNumber(const Operation<nvmlReturn_t(nvmlDevice_t, unsigned int*)>& operation) {
  return readValue<unsigned int>(operation);
}

template <typename Enumeration>
Number readEnumeration(const Operation<nvmlReturn_t(nvmlDevice_t, Enumeration*)>& operation) {
  const auto value = readValue<Enumeration>(operation);
  return value ? Number(static_cast<std::uint32_t>(*value)) : std::nullopt;
}

// The maker's boards answer 0 for a board value that they do not know.
Number unlessZero(Number value) { return value == 0U ? std::nullopt : value; }

using PairOperation = Operation<nvmlReturn_t(nvmlDevice_t, unsigned int*, unsigned int*)>;

// The two numbers that an operation writes, in their order.
template <typename Pair>
std::optional<Pair> readPair(const PairOperation& operation) {
  unsigned int first = 0;
  unsigned int second = 0;
  if (callOnCurrentDevice(operation, &first, &second) != NVML_SUCCESS) return std::nullopt;
  return Pair{first, second};
}

// The library also tells how long it sampled.
struct Share {
  std::uint32_t percent;
  std::uint32_t samplingPeriodUs;
};

Number readShare(const PairOperation& operation) {
  const auto share = readPair<Share>(operation);
  return share ? Number(share->percent) : std::nullopt;
}

}  // namespace

std::optional<std::string> name() { return readText<64>(library().nvmlDeviceGetName); }

std::optional<std::string> serial() {
  auto text = readText<30>(library().nvmlDeviceGetSerial);
  if (text == "00000000000000" || text == "FFFFFFFFFFFFFF") return std::nullopt;
  return text;
}

std::optional<std::string> uuid() { return readText<80>(library().nvmlDeviceGetUUID); }

std::optional<std::string> partNumber() {
  auto text = readText<30>(library().nvmlDeviceGetBoardPartNumber);
  if (text == "FFFFFFFF") return std::nullopt;
  return text;
}

Number index() { return readNumber(library().nvmlDeviceGetIndex); }
Number minorNumber() { return readNumber(library().nvmlDeviceGetMinorNumber); }
Number computeMode() { return readEnumeration(library().nvmlDeviceGetComputeMode); }

std::optional<nvmlPciInfo_t> pci() {
  return readValue<nvmlPciInfo_t>(library().nvmlDeviceGetPciInfo);
}

std::optional<ComputeCapability> computeCapability() {
  ComputeCapability capability{};
  if (callOnCurrentDevice(library().nvmlDeviceGetCudaComputeCapability, &capability.major,
                          &capability.minor) != NVML_SUCCESS) {
    return std::nullopt;
  }
  return capability;
}

Number boardId() { return readNumber(library().nvmlDeviceGetBoardId); }
Number boardPosition() { return readNumber(library().zanmlDeviceGetBoardPosition); }
bool multiGpuBoard() { return readNumber(library().nvmlDeviceGetMultiGpuBoard) == 1U; }

Number boardPowerUsage() { return unlessZero(readNumber(library().zanmlDeviceGetBoardPowerUsage)); }

Number boardPowerLimit() { return unlessZero(readNumber(library().zanmlDeviceGetBoardPowerLimit)); }

Number pcieGenCurrent() { return readNumber(library().nvmlDeviceGetCurrPcieLinkGeneration); }
Number pcieWidthCurrent() { return readNumber(library().nvmlDeviceGetCurrPcieLinkWidth); }
Number pcieGenMax() { return readNumber(library().nvmlDeviceGetMaxPcieLinkGeneration); }
Number pcieWidthMax() { return readNumber(library().nvmlDeviceGetMaxPcieLinkWidth); }

Number pcieThroughput(nvmlPcieUtilCounter_t counter) {
  return readValue<unsigned int>(library().nvmlDeviceGetPcieThroughput, counter);
}

Number virtualizationMode() { return readEnumeration(library().nvmlDeviceGetVirtualizationMode); }
Number hostVgpuMode() { return readEnumeration(library().nvmlDeviceGetHostVgpuMode); }

Number fanSpeed() { return readNumber(library().nvmlDeviceGetFanSpeed); }

Number temperature() {
  return readValue<unsigned int>(library().nvmlDeviceGetTemperature, NVML_TEMPERATURE_GPU);
}

Number temperatureThreshold(nvmlTemperatureThresholds_t threshold) {
  return readValue<unsigned int>(library().nvmlDeviceGetTemperatureThreshold, threshold);
}

Number powerUsage() { return readNumber(library().nvmlDeviceGetPowerUsage); }
Number enforcedPowerLimit() { return readNumber(library().nvmlDeviceGetEnforcedPowerLimit); }
Number powerManagementLimit() { return readNumber(library().nvmlDeviceGetPowerManagementLimit); }

Number clock(nvmlClockType_t type) {
  return readValue<unsigned int>(library().nvmlDeviceGetClock, type, NVML_CLOCK_ID_CURRENT);
}

Number clockInfo(nvmlClockType_t type) {
  return readValue<unsigned int>(library().nvmlDeviceGetClockInfo, type);
}

Number maxClockInfo(nvmlClockType_t type) {
  return readValue<unsigned int>(library().nvmlDeviceGetMaxClockInfo, type);
}

Number performanceState() { return readEnumeration(library().nvmlDeviceGetPerformanceState); }

std::optional<nvmlMemory_t> memory() {
  return readValue<nvmlMemory_t>(library().nvmlDeviceGetMemoryInfo);
}

std::optional<nvmlUtilization_t> utilization() {
  return readValue<nvmlUtilization_t>(library().nvmlDeviceGetUtilizationRates);
}

Number encoderUtilization() { return readShare(library().nvmlDeviceGetEncoderUtilization); }
Number decoderUtilization() { return readShare(library().nvmlDeviceGetDecoderUtilization); }

std::optional<std::uint64_t> retiredPageCount(nvmlPageRetirementCause_t cause) {
  unsigned int count = 0;
  const nvmlReturn_t answer =
      callOnCurrentDevice(library().nvmlDeviceGetRetiredPages, cause, &count, nullptr);
  if (answer != NVML_SUCCESS && answer != NVML_ERROR_INSUFFICIENT_SIZE) return std::nullopt;
  return count;
}

std::optional<std::uint64_t> violationTime(nvmlPerfPolicyType_t policy) {
  const auto violation =
      readValue<nvmlViolationTime_t>(library().nvmlDeviceGetViolationStatus, policy);
  return violation ? std::optional<std::uint64_t>(violation->violationTime) : std::nullopt;
}

std::optional<std::uint64_t> throttleReasons() {
  return readValue<unsigned long long>(library().nvmlDeviceGetCurrentClocksThrottleReasons);
}

std::optional<std::string> firmwareVersion() {
  return readText<128>(library().zanmlDeviceGetFirmwareVersion);
}

std::optional<std::string> hardwareVersion() {
  return readText<128>(library().zanmlDeviceGetHardwareVersion);
}

std::optional<std::string> boardPn() { return readText<128>(library().zanmlDeviceGetBoardPn); }

std::optional<std::string> manufactureDate() {
  return readText<128>(library().zanmlDeviceGetManufactureDate);
}

Number gpuSn() { return readNumber(library().zanmlDeviceGetGpuSn); }

std::optional<std::uint64_t> boardSn() {
  return readValue<unsigned long long>(library().zanmlDeviceGetBoardSn);
}

Number boardTemperature() { return readNumber(library().zanmlDeviceGetBoardTemperature); }

std::optional<Voltage> gpuVoltage() {
  return readPair<Voltage>(library().zanmlDeviceGetGPUVoltage);
}
std::optional<Voltage> vddVoltage() {
  return readPair<Voltage>(library().zanmlDeviceGetVddVoltage);
}
std::optional<Voltage> memoryVoltage() {
  return readPair<Voltage>(library().zanmlDeviceGetMemVoltage);
}

std::optional<CeMask> ceMask() { return readPair<CeMask>(library().zanmlDeviceGetCeMask); }

std::optional<zanmlJpuUtilization_t> jpuUtilization() {
  return readValue<zanmlJpuUtilization_t>(library().zanmlDeviceGetJpuUtilization);
}

std::optional<zanmlVpuUtilization_t> vpuUtilization() {
  return readValue<zanmlVpuUtilization_t>(library().zanmlDeviceGetVpuUtilization);
}

std::optional<EccMode> eccMode() {
  nvmlEnableState_t current{};
  nvmlEnableState_t pending{};
  if (callOnCurrentDevice(library().nvmlDeviceGetEccMode, &current, &pending) != NVML_SUCCESS) {
    return std::nullopt;
  }
  return EccMode{static_cast<std::uint32_t>(current), static_cast<std::uint32_t>(pending)};
}

}  // namespace zanctl::attributes
