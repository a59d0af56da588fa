// DeviceController: the operations that change a GPU, and the driver's reset-in-progress marker,
// which GPU 0 keeps for the whole machine.
#pragma once

#include "zanml/zanml.h"

#include <cstdint>
#include <optional>

namespace zanctl {

class DeviceController {
 public:
  // The marker (1 while a reset runs), read in a library session of its own; also keeps the
  // start-up device count. Empty when any step fails.
  std::optional<std::int32_t> readResetStatus();

  // The GPU count that readResetStatus() found; 0 when it found none.
  [[nodiscard]] std::uint32_t startupDeviceCount() const { return startupDeviceCount_; }

  // The marker, through the open session; makes GPU 0 the current one. Empty, or false, on failure.
  std::optional<std::int32_t> getResetStatus();
  bool setResetStatus(std::int32_t value);

  // Restarts the library, which ends every handle of the session, and writes the marker. False when
  // any step failed.
  bool restartAndClearResetStatus(std::int32_t value);

  // On the current GPU; the library's answer.
  nvmlReturn_t resetDevice();
  nvmlReturn_t setCeMask(std::uint32_t mask);

 private:
  std::uint32_t startupDeviceCount_ = 0;
};

DeviceController& controller();

}  // namespace zanctl
