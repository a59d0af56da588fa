// From the options to the one runner that serves them.
#pragma once

#include "cli/grammar.h"
#include "request/options.h"

#include <cstdint>
#include <iosfwd>

namespace zanctl {

// Runs the action asked for in the open session; its status, 0 or -1. `startupDeviceCount` is the
// number of GPUs that there were before.
[[nodiscard]] int dispatch(const Grammar& grammar, const CommandOptions& options,
                           std::uint32_t startupDeviceCount, std::ostream& out);

}  // namespace zanctl
