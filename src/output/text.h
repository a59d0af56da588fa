// How printers write: each appends to one text, which its output takes over as a whole.
#pragma once

#include <fmt/compile.h>

#include <iterator>
#include <string>
#include <string_view>

namespace zanctl {

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

}  // namespace zanctl
