#include "device/controller.h"

#include "zanml/library.h"

namespace zanctl {
namespace {

std::optional<std::int32_t> readMarker(std::uint32_t& deviceCount) {
  nvmlDevice_t first = nullptr;
  int status = 0;
  if (library().nvmlDeviceGetCount_v2(&deviceCount) != NVML_SUCCESS) deviceCount = 0;
  if (deviceCount == 0 || library().nvmlDeviceGetHandleByIndex_v2(0, &first) != NVML_SUCCESS ||
      library().zanmlDeviceGetResetStatus(first, &status) != NVML_SUCCESS) {
    return std::nullopt;
  }
  return status;
}

}  // namespace

std::optional<std::int32_t> DeviceController::readResetStatus() {
  startupDeviceCount_ = 0;
  if (library().nvmlInit() != NVML_SUCCESS) return std::nullopt;
  const auto status = readMarker(startupDeviceCount_);
  if (library().nvmlShutdown() != NVML_SUCCESS) return std::nullopt;
  return status;
}

DeviceController& controller() {
  static DeviceController instance;
  return instance;
}

}  // namespace zanctl
