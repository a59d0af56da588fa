// What a fuzz target is: it checks what must hold for every input. libFuzzer calls it with inputs
// of its own making, the driver in corpus.cpp with those of its corpus.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace fuzz {

// Defined by each target.
void examine(std::string_view input);

// Ends the program, as the drivers expect of a target, when something does not hold.
inline void expect(bool holds, const char* what, const char* file = __builtin_FILE(),
                   int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, what);
  std::abort();
}

// A number from the front of the input, which loses it; zeros stand for what is missing.
template <typename Number>
Number take(std::string_view& input) {
  Number number{};
  const std::size_t size = std::min(input.size(), sizeof number);
  std::memcpy(&number, input.data(), size);
  input.remove_prefix(size);
  return number;
}

// Calls `visit` with each piece between the separators, empty ones included.
template <typename Visit>
void forEachPiece(std::string_view text, char separator, const Visit& visit) {
  for (;;) {
    const std::size_t end = text.find(separator);
    visit(text.substr(0, end));
    if (end == std::string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

}  // namespace fuzz
