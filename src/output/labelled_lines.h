// The layout of the text reports: four blanks of indentation a level, and every colon in column 49.
#pragma once

#include <ostream>
#include <string_view>

namespace zanctl {

// "<label>      : <value>\n". Levels 0 to 4.
void writeLine(std::ostream& out, int level, std::string_view label, std::string_view value);

// "<text>\n".
void writeHeading(std::ostream& out, int level, std::string_view text);

// A heading padded up to where the colon would stand.
void writePaddedHeading(std::ostream& out, int level, std::string_view text);

}  // namespace zanctl
