// Texts of others, made fit for a terminal: a guest or a library must not steer it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zanctl {

// The character that a text begins with.
struct Utf8Character {
  std::uint32_t codePoint;
  std::size_t length;  // bytes; of a broken one those that were taken for its part
  bool valid;
};
Utf8Character firstCharacter(std::string_view text);

// The bytes that a character beginning with this one has; 0 where none begins with it.
std::size_t sequenceLength(unsigned char lead);

// Whether the character turns the direction of the text behind it around.
bool isBidirectionalOverride(std::uint32_t codePoint);

// The text with "?" in place of each control character, bidirectional override, byte that is no
// UTF-8, and what is UTF-8 but no character of an XML document.
std::string cleanText(std::string_view text);

// The beginning and the end of the text in at most so many bytes, cut between characters.
std::string_view beginOf(std::string_view text, std::size_t bytes);
std::string_view endOf(std::string_view text, std::size_t bytes);

}  // namespace zanctl
