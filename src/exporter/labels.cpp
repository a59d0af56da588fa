#include "exporter/labels.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace zanctl::exporter {
namespace {

constexpr std::size_t kMaxBytes = 256;

bool continues(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

// Bytes of the well-formed character that the text begins with; 0 when it begins with none.
std::size_t characterLength(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  if (!std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length), continues))
    return 0;
  // Overlong forms, surrogates, and what lies beyond the last character.
  const auto second = static_cast<unsigned char>(text[1]);
  const bool tooLow = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
  const bool tooHigh = (lead == 0xED && second > 0x9F) || (lead == 0xF4 && second > 0x8F);
  return tooLow || tooHigh ? 0 : length;
}

void appendEscaped(std::string& value, char c) {
  if (c == '\n') {
    value += "\\n";
    return;
  }
  if (c == '\\' || c == '"') value.push_back('\\');
  value.push_back(c);
}

}  // namespace

std::string labelValue(std::string_view text) {
  std::string value;
  for (std::size_t bytes = 0; !text.empty();) {
    const std::size_t length = characterLength(text);
    const std::size_t taken = std::max<std::size_t>(length, 1);
    bytes += taken;
    if (bytes > kMaxBytes) break;
    if (length == 0) {
      value.push_back('?');
    } else if (length == 1) {
      appendEscaped(value, text[0]);
    } else {
      value += text.substr(0, length);
    }
    text.remove_prefix(taken);
  }
  return value;
}

Labels& Labels::add(std::string_view name, std::string_view value) {
  if (!text_.empty()) text_.push_back(',');
  text_ += name;
  text_ += "=\"";
  text_ += labelValue(value);
  text_ += '"';
  return *this;
}

}  // namespace zanctl::exporter
