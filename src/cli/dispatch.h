// From the options to the one runner that serves them.
#pragma once

#include "cli/grammar.h"
#include "cli/options.h"

namespace zanctl {

// Runs the action asked for in the open session; its status, 0 or -1.
[[nodiscard]] int dispatch(const Grammar& grammar, const CommandOptions& options);

}  // namespace zanctl
