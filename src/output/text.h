// How printers write: each appends to one text, which its output takes over as a whole.
#pragma once

#include <fmt/compile.h>

#include <charconv>
#include <concepts>
#include <iterator>
#include <string>
#include <string_view>

namespace zanctl {

// The decimal digits of a number, to be joined with texts.
class Decimal {
 public:
  template <std::integral Number>
  explicit Decimal(Number value)
      : size_(static_cast<std::size_t>(std::to_chars(digits_, std::end(digits_), value).ptr -
                                       digits_)) {}

  // NOLINTNEXTLINE(google-explicit-constructor): a text for whoever takes one
  operator std::string_view() const { return {digits_, size_}; }

 private:
  char digits_[20];
  std::size_t size_;
};

// Appends the arguments in a form that FMT_COMPILE("...") has made.
template <typename Form, typename... Arguments>
void append(std::string& text, const Form& form, const Arguments&... arguments) {
  fmt::format_to(std::back_inserter(text), form, arguments...);
}

// Appends the pieces one behind the other.
template <typename... Pieces>
void join(std::string& text, const Pieces&... pieces) {
  (text.append(std::string_view(pieces)), ...);
}

// Appends the piece behind as many blanks as fill up the width.
inline void alignRight(std::string& text, std::size_t width, std::string_view piece) {
  if (piece.size() < width) text.append(width - piece.size(), ' ');
  text.append(piece);
}

}  // namespace zanctl
