// -r: resets GPUs. Nothing interrupts it once it has begun.
#pragma once

#include "cli/selection.h"

#include <iosfwd>

namespace zanctl {

// 0 when every selected GPU was reset, -1 when the reset was refused or a GPU was not reset.
[[nodiscard]] int resetGpus(const DeviceSet& selection, std::ostream& out);

}  // namespace zanctl
