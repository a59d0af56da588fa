// The way from the process that a user started to one in the background.
#pragma once

#include "device/descriptor.h"

namespace zanctl {

// Returns in a child that leads a session of its own. The calling process ends with status 0, also
// where it cannot fork: as soon as the child closes what is returned or ends, and in any case after
// five seconds.
[[nodiscard]] Descriptor goToBackground();

}  // namespace zanctl
