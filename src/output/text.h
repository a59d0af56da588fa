// How printers write: each appends to one text, which its output takes over as a whole.
#pragma once

#include <charconv>
#include <concepts>
#include <iterator>
#include <string>
#include <string_view>

namespace zanctl {

// The digits of a number, those beyond 9 in lower case, to be joined with texts.
template <int base>
class Digits {
 public:
  template <std::integral Number>
  explicit Digits(Number value)
      : size_(static_cast<std::size_t>(std::to_chars(digits_, std::end(digits_), value, base).ptr -
                                       digits_)) {}

  // NOLINTNEXTLINE(google-explicit-constructor): a text for whoever takes one
  operator std::string_view() const { return {digits_, size_}; }

 private:
  char digits_[20];
  std::size_t size_;
};

using Decimal = Digits<10>;
using Hexadecimal = Digits<16>;

// Appends the pieces one behind the other.
template <typename... Pieces>
void join(std::string& text, const Pieces&... pieces) {
  (text.append(std::string_view(pieces)), ...);
}

// Appends the piece behind as many blanks, or other characters, as fill up the width.
inline void alignRight(std::string& text, std::size_t width, std::string_view piece,
                       char fill = ' ') {
  if (piece.size() < width) text.append(width - piece.size(), fill);
  text.append(piece);
}

// Appends numbers, each in a cell of that width.
template <typename Numbers>
void alignNumbers(std::string& text, std::size_t width, const Numbers& numbers) {
  for (const auto number : numbers) alignRight(text, width, Decimal(number));
}

}  // namespace zanctl
