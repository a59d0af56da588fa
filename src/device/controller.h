// DeviceController: the operations that change a GPU, and the driver's reset-in-progress marker.
#pragma once

#include <cstdint>
#include <optional>

namespace zanctl {

class DeviceController {
 public:
  // The reset-in-progress marker of GPU 0 (1 while a reset runs), read in a library session of its
  // own; also keeps the start-up device count. Empty when any step fails.
  std::optional<std::int32_t> readResetStatus();

  // The GPU count that readResetStatus() found; 0 when it found none.
  [[nodiscard]] std::uint32_t startupDeviceCount() const { return startupDeviceCount_; }

 private:
  std::uint32_t startupDeviceCount_ = 0;
};

DeviceController& controller();

}  // namespace zanctl
