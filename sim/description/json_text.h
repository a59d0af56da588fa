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

// Comments, "//" to the end of the line and "/*" to "*/", are blanks. Refuses nesting beyond 32
// levels. A key that stands twice in an object is a finding; the last one counts.
std::optional<SyntaxError> parseJson(std::string_view text, Json& value, Findings& findings);

// Sets the lines, counted from 1, of the problems that have none. The text must be JSON.
void findLines(std::string_view text, std::vector<Problem>& problems);

}  // namespace zansim
