// Texts that are wholly a number.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zanctl {

// The number that all of the text makes up in this base; empty for any other text. A number beyond
// 64 bits reads as the largest.
std::optional<std::uint64_t> wholeNumber(std::string_view text, int base);

// The same in base 16, with or without "0x" in front.
std::optional<std::uint64_t> hexadecimalNumber(std::string_view text);

}  // namespace zanctl
