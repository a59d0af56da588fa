// Combinations of options that parse but make no sense.
#pragma once

#include "cli/grammar.h"
#include "cli/options.h"

#include <iosfwd>

namespace zanctl {

// 0 to go on; otherwise the reason was printed, on `errors` where CLI11 words it and else on `out`.
[[nodiscard]] int validateCommandLine(const Grammar& grammar, const CommandOptions& options,
                                      std::ostream& out, std::ostream& errors);

}  // namespace zanctl
