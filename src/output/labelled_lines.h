// The layout of the text reports: four blanks of indentation a level, and every colon in column 49.
#pragma once

#include <string>
#include <string_view>

namespace zanctl {

// "<label>      : <value><unit>\n". Levels 0 to 4.
void writeLine(std::string& text, int level, std::string_view label, std::string_view value,
               std::string_view unit = "");

// "<heading>\n".
void writeHeading(std::string& text, int level, std::string_view heading);

// A heading padded up to where the colon would stand.
void writePaddedHeading(std::string& text, int level, std::string_view heading);

}  // namespace zanctl
