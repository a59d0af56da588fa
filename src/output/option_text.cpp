#include "output/option_text.h"

#include <fmt/ostream.h>

#include <cerrno>
#include <cstdlib>
#include <ostream>

namespace zanctl {

void refuseValue(std::ostream& out, std::string_view option, const std::string& value) {
  fmt::print(out,
             "The value {} is not an allowed value for {}. Run with --help for more information.\n",
             option, value);
}

std::optional<std::uint64_t> readDelay(const std::string& text, int longest, std::ostream& out) {
  const std::int64_t seconds = decimalNumber(text);
  if (seconds >= 1 && seconds <= longest) return static_cast<std::uint64_t>(seconds);
  fmt::print(out, "Collection delay/interval should be between 1 second and {} seconds.\n",
             longest);
  refuseValue(out, "-d, --delay", text);
  return std::nullopt;
}

std::int64_t decimalNumber(const std::string& text) {
  errno = 0;
  const long long value = std::strtoll(text.c_str(), nullptr, 10);
  return errno == 0 ? value : 0;
}

std::vector<std::string_view> splitAtCommas(std::string_view text) {
  std::vector<std::string_view> pieces;
  for (;;) {
    const std::size_t comma = text.find(',');
    pieces.push_back(text.substr(0, comma));
    if (comma == std::string_view::npos) return pieces;
    text.remove_prefix(comma + 1);
  }
}

}  // namespace zanctl
