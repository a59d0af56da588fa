// How the texts of options read.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl {

// Says that the value of an option, "-x, --long", cannot be used.
void refuseValue(std::ostream& out, std::string_view option, const std::string& value);

// A delay between two samples, in seconds. Empty, after saying so, when the text does not begin
// with a number from 1 to `longest`.
std::optional<std::uint64_t> readDelay(const std::string& text, int longest, std::ostream& out);

// The decimal number at the start of the text; 0 when there is none or it does not fit.
std::int64_t decimalNumber(const std::string& text);

// The pieces between the commas, empty ones included. Views into `text`.
std::vector<std::string_view> splitAtCommas(std::string_view text);

}  // namespace zanctl
