// The --loop option of the reports.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>

namespace zanctl {

// The period in seconds: 0 when the option was not given, 5 when it was given without a value.
// Empty, after saying so in two lines, when the value is not a number above 0.
std::optional<std::uint64_t> readLoopOption(const std::string& option, std::ostream& out);

}  // namespace zanctl
