// DeviceController: the operations that change a GPU, and the driver's reset-in-progress marker,
// which GPU 0 keeps for the whole machine.
#pragma once

#include "zanml/zanml.h"

#include <cstdint>
#include <optional>

namespace zanctl {

// The marker and the machine as they are before anything else is done.
struct StartupReading {
  std::int32_t resetStatus = 0;   // 1 while a reset is in progress; 0 also when it cannot be read
  std::uint32_t deviceCount = 0;  // 0 when it cannot be read
};

class DeviceController {
 public:
  // Reads in a library session of its own.
  StartupReading readResetStatus();

  // The marker, through the open session; makes GPU 0 the current one. Empty, or false, on failure.
  std::optional<std::int32_t> getResetStatus();
  bool setResetStatus(std::int32_t value);

  // Restarts the library, which ends every handle of the session, and writes the marker. False when
  // any step failed.
  bool restartAndClearResetStatus(std::int32_t value);

  // On the current GPU; the library's answer.
  nvmlReturn_t resetDevice();
  nvmlReturn_t setCeMask(std::uint32_t mask);
};

DeviceController& controller();

}  // namespace zanctl
