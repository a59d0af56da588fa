// The replay subcommand: plays a stats log back in step with its sampling cycles.
#pragma once

#include "request/options.h"

#include <iosfwd>

namespace zanctl {

// Prints the log. Returns kHelpAsked when no file was given, -1 when the options are refused or
// there is no such file; a line that belongs to no log ends it with 0.
[[nodiscard]] int runReplay(const ReplayOptions& options, std::ostream& out);

}  // namespace zanctl
