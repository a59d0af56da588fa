#include "device/number_text.h"

#include <charconv>
#include <limits>

namespace zanctl {

std::optional<std::uint64_t> wholeNumber(std::string_view text, int base) {
  std::uint64_t value = 0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, value, base);
  if (end != last || error == std::errc::invalid_argument) return std::nullopt;
  return error == std::errc() ? value : std::numeric_limits<std::uint64_t>::max();
}

std::optional<std::uint64_t> hexadecimalNumber(std::string_view text) {
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  return wholeNumber(text, 16);
}

}  // namespace zanctl
