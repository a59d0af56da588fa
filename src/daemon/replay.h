// The replay subcommand: plays a stats log back in step with its sampling cycles.
#pragma once

#include "cli/options.h"

#include <string>

namespace zanctl {

// Prints the log on standard output, or the help text when no file was given. Returns -1 when the
// options are refused or there is no such file; a line that belongs to no log ends it with 0.
[[nodiscard]] int runReplay(const ReplayOptions& options, const std::string& help);

}  // namespace zanctl
