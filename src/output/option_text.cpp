#include "output/option_text.h"

#include <cerrno>
#include <cstdlib>

namespace zanctl {

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
