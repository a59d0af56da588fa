// The text of a description: parsing it, and finding a place in it again.
#pragma once

#include "description/node.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zansim {

struct SyntaxError {
  std::size_t line;
  std::string reason;
};

// Refuses, besides what is no JSON, a key that stands twice in an object and nesting beyond 32
// levels.
std::optional<SyntaxError> parseJson(std::string_view text, Json& value);

// The line, counted from 1, at which the value of a JSON pointer begins, or that of its nearest
// ancestor. The text must be JSON.
std::size_t lineOf(std::string_view text, std::string_view place);

}  // namespace zansim
