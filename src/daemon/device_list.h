// The -i option of daemon and replay.
#pragma once

#include "request/option_values.h"
#include "request/options.h"

#include <string>

namespace zanctl {

// Like resolveDevices, but an empty list selects every GPU.
[[nodiscard]] inline int resolveDevicesOrAll(const std::string& idOption, DeviceSet& selection,
                                             std::ostream& out) {
  return resolveDevices(idOption.empty() ? kUnset : idOption, selection, out);
}

}  // namespace zanctl
