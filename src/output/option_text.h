// How the texts of options read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl {

// The decimal number at the start of the text; 0 when there is none or it does not fit.
std::int64_t decimalNumber(const std::string& text);

// The pieces between the commas, empty ones included. Views into `text`.
std::vector<std::string_view> splitAtCommas(std::string_view text);

}  // namespace zanctl
