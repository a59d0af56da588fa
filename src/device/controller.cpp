#include "device/controller.h"

#include "device/session.h"

namespace zanctl {
namespace {

StartupReading readMarker() {
  StartupReading reading;
  nvmlDevice_t first = nullptr;
  int status = 0;
  if (library().nvmlDeviceGetCount_v2(&reading.deviceCount) != NVML_SUCCESS) {
    reading.deviceCount = 0;
  }
  if (reading.deviceCount != 0 &&
      library().nvmlDeviceGetHandleByIndex_v2(0, &first) == NVML_SUCCESS &&
      library().zanmlDeviceGetResetStatus(first, &status) == NVML_SUCCESS) {
    reading.resetStatus = status;
  }
  return reading;
}

}  // namespace

StartupReading DeviceController::readResetStatus() {
  if (library().nvmlInit() != NVML_SUCCESS) return {};
  StartupReading reading = readMarker();
  if (library().nvmlShutdown() != NVML_SUCCESS) reading.resetStatus = 0;
  return reading;
}

std::optional<std::int32_t> DeviceController::getResetStatus() {
  session().currentDevice = 0;
  int status = 0;
  if (callOnCurrentDevice(library().zanmlDeviceGetResetStatus, &status) != NVML_SUCCESS) {
    return std::nullopt;
  }
  return status;
}

bool DeviceController::setResetStatus(std::int32_t value) {
  session().currentDevice = 0;
  return callOnCurrentDevice(library().zanmlDeviceSetResetStatus, value) == NVML_SUCCESS;
}

bool DeviceController::restartAndClearResetStatus(std::int32_t value) {
  // A library that does not stop still takes the marker, and a marker left behind would delay every
  // later run: so go on as long as there is a way to it.
  bool done = library().nvmlShutdown() == NVML_SUCCESS;
  if (library().nvmlInit() != NVML_SUCCESS) return false;
  std::uint32_t count = 0;
  done = library().nvmlDeviceGetCount_v2(&count) == NVML_SUCCESS && done;
  nvmlDevice_t first = nullptr;
  if (library().nvmlDeviceGetHandleByIndex_v2(0, &first) != NVML_SUCCESS) return false;
  return library().zanmlDeviceSetResetStatus(first, value) == NVML_SUCCESS && done;
}

nvmlReturn_t DeviceController::resetDevice() {
  return callOnCurrentDevice(library().zanmlDeviceReset);
}

nvmlReturn_t DeviceController::setCeMask(std::uint32_t mask) {
  return callOnCurrentDevice(library().zanmlDeviceSetCeMask, mask);
}

DeviceController& controller() {
  static DeviceController instance;
  return instance;
}

}  // namespace zanctl
