// -r: resets GPUs. Nothing interrupts it once it has begun.
#pragma once

#include "device/selection.h"

#include <cstdint>
#include <iosfwd>

namespace zanctl {

struct ResetOptions {
  DeviceSet selection;
  std::uint32_t startupDeviceCount = 0;  // the GPUs that there were before; 0 when unknown
};

// 0 when every selected GPU was reset, -1 when the reset was refused or a GPU was not reset.
[[nodiscard]] int resetGpus(const ResetOptions& options, std::ostream& out);

}  // namespace zanctl
