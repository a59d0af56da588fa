#include "device/readers.h"

#include "device/attributes.h"
#include "device/device_call.h"

#include <algorithm>
#include <chrono>

namespace zanctl {
namespace {

constexpr int kMiBShift = 20;

VoltageReading readVoltage(
    const Operation<nvmlReturn_t(nvmlDevice_t, unsigned int*, unsigned int*)>& operation) {
  VoltageReading voltage{};
  if (callOnCurrentDevice(operation, &voltage.integerPart, &voltage.fractionPart) != NVML_SUCCESS) {
    return {kUnavailable, kUnavailable};
  }
  return voltage;
}

}  // namespace

const DeviceReader& reader() {
  static const DeviceReader instance;
  return instance;
}

std::map<std::uint32_t, std::uint32_t>& boardPowerTable() {
  static std::map<std::uint32_t, std::uint32_t> table;
  return table;
}

std::optional<std::uint32_t> boardPowerOnce(std::uint32_t boardId) {
  auto& table = boardPowerTable();
  if (const auto known = table.find(boardId); known != table.end()) return known->second;
  const auto power = attributes::boardPowerUsage();
  if (power) table[boardId] = *power;
  return power;
}

std::uint32_t powerOnBoard(std::uint32_t boardId, std::uint32_t boardPosition) {
  if (boardId == kUnavailable || boardPosition == kUnavailable) {
    return attributes::powerUsage().value_or(kUnavailable);
  }
  const auto boardPower = boardPowerOnce(boardId);
  return boardPosition == 0 ? boardPower.value_or(kUnavailable) : kUnavailable;
}

SummaryReading DeviceReader::readSummary() const {
  SummaryReading reading{};
  reading.timestamp = std::chrono::system_clock::now().time_since_epoch().count();
  reading.temperature = attributes::temperature().value_or(kUnavailable);
  reading.fanSpeed = attributes::fanSpeed().value_or(kUnavailable);
  reading.powerUsage = attributes::powerUsage().value_or(kUnavailable);
  reading.powerLimit = attributes::enforcedPowerLimit().value_or(kUnavailable);
  reading.boardPowerUsage = attributes::boardPowerUsage().value_or(kUnavailable);
  reading.boardPowerLimit = attributes::boardPowerLimit().value_or(kUnavailable);
  const auto utilization = attributes::utilization().value_or(nvmlUtilization_t{});
  reading.gpuUtil = utilization.gpu;
  reading.memUtil = utilization.memory;
  const MemoryReading memory = readMemory();
  reading.memTotal = memory.total >> kMiBShift;
  reading.memFree = memory.free >> kMiBShift;
  reading.memUsed = memory.used >> kMiBShift;
  reading.smClock = attributes::clock(NVML_CLOCK_SM).value_or(0);
  reading.memClock = attributes::clock(NVML_CLOCK_MEM).value_or(0);
  reading.perfState = readPerformanceState();
  return reading;
}

DeviceInfo DeviceReader::readDeviceInfo() const {
  DeviceInfo info{};
  info.name = attributes::name().value_or(kUnavailableText);
  info.uuid = attributes::uuid().value_or(kUnavailableText);
  info.minorNumber = attributes::minorNumber().value_or(0);
  info.computeMode = readComputeMode();
  const auto capability = attributes::computeCapability().value_or(attributes::ComputeCapability{});
  info.ccMajor = capability.major;
  info.ccMinor = capability.minor;
  info.pci = attributes::pci().value_or(nvmlPciInfo_t{});
  info.boardId = attributes::boardId().value_or(kUnavailable);
  info.multiGpuBoard = attributes::multiGpuBoard() ? "Yes" : "No";
  info.boardPosition = attributes::boardPosition().value_or(kUnavailable);
  info.serial = attributes::serial().value_or(kUnavailableText);
  info.partNumber = attributes::partNumber().value_or(kUnavailableText);
  info.pcieGenCurrent = attributes::pcieGenCurrent().value_or(kUnavailable);
  info.pcieWidthCurrent = attributes::pcieWidthCurrent().value_or(kUnavailable);
  info.pcieGenMax = attributes::pcieGenMax().value_or(kUnavailable);
  info.pcieWidthMax = attributes::pcieWidthMax().value_or(kUnavailable);
  info.virtualizationMode = attributes::virtualizationMode().value_or(0);
  info.hostVgpuMode = attributes::hostVgpuMode().value_or(0);
  info.fanSpeed = attributes::fanSpeed().value_or(kUnavailable);
  info.pcieTx = attributes::pcieThroughput(NVML_PCIE_UTIL_TX_BYTES).value_or(kUnavailable);
  info.pcieRx = attributes::pcieThroughput(NVML_PCIE_UTIL_RX_BYTES).value_or(kUnavailable);
  return info;
}

std::optional<PciReading> DeviceReader::readPciByIndex(std::uint32_t index) const {
  nvmlDevice_t handle = nullptr;
  if (library().nvmlDeviceGetHandleByIndex_v2(index, &handle) != NVML_SUCCESS) {
    return std::nullopt;
  }
  PciReading reading{};
  if (library().nvmlDeviceGetPciInfo(handle, &reading.pci) != NVML_SUCCESS) reading.pci = {};
  nvmlGpuVirtualizationMode_t mode{};
  if (library().nvmlDeviceGetVirtualizationMode(handle, &mode) == NVML_SUCCESS) {
    reading.virtualizationMode = static_cast<std::uint32_t>(mode);
  }
  return reading;
}

BoardInfo DeviceReader::readBoardInfo() const {
  const Library& lib = library();
  const auto text = [](const auto& operation) {
    return readText<128>(operation).value_or(kUnavailableText);
  };
  BoardInfo info{};
  info.gpuVoltage = readVoltage(lib.zanmlDeviceGetGPUVoltage);
  info.vddVoltage = readVoltage(lib.zanmlDeviceGetVddVoltage);
  info.memVoltage = readVoltage(lib.zanmlDeviceGetMemVoltage);
  info.boardPn = text(lib.zanmlDeviceGetBoardPn);
  info.gpuSn = readValue<unsigned int>(lib.zanmlDeviceGetGpuSn).value_or(kUnavailable);
  info.boardSn = readValue<unsigned long long>(lib.zanmlDeviceGetBoardSn).value_or(kUnavailable64);
  info.firmwareVersion = text(lib.zanmlDeviceGetFirmwareVersion);
  info.hardwareVersion = text(lib.zanmlDeviceGetHardwareVersion);
  info.manufactureDate = text(lib.zanmlDeviceGetManufactureDate);
  info.pci = attributes::pci().value_or(nvmlPciInfo_t{});
  const auto ceMask = attributes::ceMask().value_or(attributes::CeMask{kUnavailable, kUnavailable});
  info.ceMask = ceMask.mask;
  info.ceMaskDefault = ceMask.supported;
  info.boardTemperature = readValue<unsigned int>(lib.zanmlDeviceGetBoardTemperature)
                              .value_or(kUnavailableBoardTemperature);
  return info;
}

MonitorReading DeviceReader::readMonitorSample() const {
  MonitorReading reading{};
  reading.boardId = attributes::boardId().value_or(kUnavailable);
  reading.boardPosition = attributes::boardPosition().value_or(kUnavailable);
  reading.power = powerOnBoard(reading.boardId, reading.boardPosition);
  reading.temperature = attributes::temperature().value_or(kUnavailable);
  const auto utilization = attributes::utilization().value_or(nvmlUtilization_t{});
  reading.gpuUtil = utilization.gpu;
  reading.memUtil = utilization.memory;
  reading.smClock = attributes::clockInfo(NVML_CLOCK_SM).value_or(0);
  reading.memClock = attributes::clockInfo(NVML_CLOCK_MEM).value_or(0);
  reading.encUtil = attributes::encoderUtilization().value_or(0);
  reading.decUtil = attributes::decoderUtilization().value_or(0);
  return reading;
}

MemoryReading DeviceReader::readMemory() const {
  const auto memory = attributes::memory().value_or(nvmlMemory_t{});
  return {memory.total, memory.free, memory.used};
}

UtilizationReading DeviceReader::readUtilization() const {
  const auto utilization = attributes::utilization().value_or(nvmlUtilization_t{});
  return {utilization.gpu, utilization.memory, attributes::encoderUtilization().value_or(0),
          attributes::decoderUtilization().value_or(0)};
}

EccModeReading DeviceReader::readEccMode() const {
  const auto mode = attributes::eccMode().value_or(attributes::EccMode{});
  return {mode.current, mode.pending};
}

TemperatureReading DeviceReader::readTemperature() const {
  const auto threshold = [](nvmlTemperatureThresholds_t which) {
    return attributes::temperatureThreshold(which).value_or(kUnavailable);
  };
  return {attributes::temperature().value_or(kUnavailable),
          threshold(NVML_TEMPERATURE_THRESHOLD_SHUTDOWN),
          threshold(NVML_TEMPERATURE_THRESHOLD_SLOWDOWN),
          threshold(NVML_TEMPERATURE_THRESHOLD_GPU_MAX)};
}

PowerReading DeviceReader::readPower() const {
  return {attributes::powerUsage().value_or(kUnavailable),
          attributes::powerManagementLimit().value_or(kUnavailable),
          attributes::boardPowerUsage().value_or(kUnavailable),
          attributes::boardPowerLimit().value_or(kUnavailable),
          attributes::boardId().value_or(kUnavailable)};
}

ClocksReading DeviceReader::readClocks() const {
  return {attributes::clockInfo(NVML_CLOCK_SM).value_or(0),
          attributes::clockInfo(NVML_CLOCK_MEM).value_or(0),
          attributes::maxClockInfo(NVML_CLOCK_SM).value_or(kUnavailable),
          attributes::maxClockInfo(NVML_CLOCK_MEM).value_or(kUnavailable)};
}

std::uint32_t DeviceReader::readComputeMode() const {
  return attributes::computeMode().value_or(0);
}

std::uint32_t DeviceReader::readPerformanceState() const {
  return attributes::performanceState().value_or(kUnknownPerformanceState);
}

RetiredPagesReading DeviceReader::readRetiredPages() const {
  const auto count = [](nvmlPageRetirementCause_t cause) {
    return attributes::retiredPageCount(cause).value_or(kUnavailable64);
  };
  return {count(NVML_PAGE_RETIREMENT_CAUSE_MULTIPLE_SINGLE_BIT_ECC_ERRORS),
          count(NVML_PAGE_RETIREMENT_CAUSE_DOUBLE_BIT_ECC_ERROR)};
}

zanmlJpuUtilization_t DeviceReader::readJpuUtilization() const {
  auto engines = readValue<zanmlJpuUtilization_t>(library().zanmlDeviceGetJpuUtilization)
                     .value_or(zanmlJpuUtilization_t{});
  engines.count = std::min(engines.count, kZanmlMaxEngines);
  return engines;
}

zanmlVpuUtilization_t DeviceReader::readVpuUtilization() const {
  auto engines = readValue<zanmlVpuUtilization_t>(library().zanmlDeviceGetVpuUtilization)
                     .value_or(zanmlVpuUtilization_t{});
  engines.count = std::min(engines.count, kZanmlMaxEngines);
  return engines;
}

}  // namespace zanctl
