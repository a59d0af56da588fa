#include "device/text.h"

#include <algorithm>
#include <array>

namespace zanctl {
namespace {

constexpr std::uint32_t kLastCodePoint = 0x10FFFF;

bool isPlain(char c) { return c >= ' ' && c <= '~'; }

// What no XML document may hold counts as one.
bool isControl(std::uint32_t codePoint) {
  return codePoint < 0x20 || (codePoint >= 0x7F && codePoint <= 0x9F) || codePoint == 0xFFFE ||
         codePoint == 0xFFFF;
}

bool isWithinCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

}  // namespace

std::size_t sequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

Utf8Character firstCharacter(std::string_view text) {
  constexpr std::array<std::uint32_t, 5> kFirstOfLength = {0, 0, 0x80, 0x800, 0x10000};
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t length = sequenceLength(lead);
  if (length <= 1) return {lead, 1, length == 1};
  std::uint32_t codePoint = lead & (0x7FU >> length);
  std::size_t taken = 1;
  for (; taken < std::min(length, text.size()); ++taken) {
    const auto next = static_cast<unsigned char>(text[taken]);
    if ((next & 0xC0U) != 0x80U) break;
    codePoint = codePoint << 6U | (next & 0x3FU);
  }
  const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  return {codePoint, taken, taken == length && codePoint >= kFirstOfLength[length] && !surrogate};
}

bool isBidirectionalOverride(std::uint32_t codePoint) {
  return (codePoint >= 0x202A && codePoint <= 0x202E) ||
         (codePoint >= 0x2066 && codePoint <= 0x2069);
}

std::string cleanText(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), isPlain)) return std::string(text);
  std::string clean;
  while (!text.empty()) {
    const auto [codePoint, length, valid] = firstCharacter(text);
    if (!valid || codePoint > kLastCodePoint) {
      clean.append(length, '?');
    } else if (isControl(codePoint) || isBidirectionalOverride(codePoint)) {
      clean += '?';
    } else {
      clean += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
  return clean;
}

std::string_view beginOf(std::string_view text, std::size_t bytes) {
  if (bytes >= text.size()) return text;
  while (bytes > 0 && isWithinCharacter(text[bytes])) --bytes;
  return text.substr(0, bytes);
}

std::string_view endOf(std::string_view text, std::size_t bytes) {
  std::size_t begin = text.size() - std::min(bytes, text.size());
  while (begin < text.size() && isWithinCharacter(text[begin])) ++begin;
  return text.substr(begin);
}

}  // namespace zanctl
