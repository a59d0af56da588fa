// Combinations of options that parse but make no sense.
#pragma once

#include "cli/grammar.h"
#include "request/options.h"

#include <iosfwd>

namespace zanctl {

// 0 to go on; otherwise the reason was printed, by the grammar where the parser words it and else
// on `out`.
[[nodiscard]] int validateCommandLine(const Grammar& grammar, const CommandOptions& options,
                                      std::ostream& out);

}  // namespace zanctl
