// --ce: sets the copy-engine operation mask of GPUs.
#pragma once

#include "device/selection.h"

#include <iosfwd>
#include <string>

namespace zanctl {

struct CeMaskOptions {
  DeviceSet selection;
  std::string mask;  // hexadecimal, as typed
};

// 0 when the mask was set on every selected GPU, -1 when it was refused or a GPU did not take it.
[[nodiscard]] int setCeMaskOnGpus(const CeMaskOptions& options, std::ostream& out);

}  // namespace zanctl
