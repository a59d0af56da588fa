#include "device/readers.h"

#include "device/attributes.h"
#include "device/board_power.h"
#include "device/session.h"

namespace zanctl {

const DeviceReader& reader() {
  static const DeviceReader instance;
  return instance;
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

MonitorReading DeviceReader::readMonitorSample(std::uint32_t parts) const {
  const auto read = [parts](MonitorPart part, auto& value, const auto& attribute) {
    if ((parts & part) != 0) value = attribute();
  };
  MonitorReading reading;
  read(kPower, reading.power, powerOnBoard);
  read(kTemperature, reading.temperature, attributes::temperature);
  if ((parts & kUtilization) != 0) {
    if (const auto utilization = attributes::utilization()) {
      reading.gpuUtil = utilization->gpu;
      reading.memUtil = utilization->memory;
    }
  }
  read(kEncoder, reading.encUtil, attributes::encoderUtilization);
  read(kDecoder, reading.decUtil, attributes::decoderUtilization);
  read(kSmClock, reading.smClock, [] { return attributes::clockInfo(NVML_CLOCK_SM); });
  read(kMemClock, reading.memClock, [] { return attributes::clockInfo(NVML_CLOCK_MEM); });
  read(kViolationTime, reading.violationTime,
       [] { return attributes::violationTime(NVML_PERF_POLICY_THERMAL); });
  read(kThrottleReasons, reading.throttleReasons, attributes::throttleReasons);
  return reading;
}

}  // namespace zanctl
