#include "output/labelled_lines.h"

#include "output/joined.h"

#include <algorithm>

namespace zanctl {
namespace {

constexpr std::string_view kBlanks = "                                                ";
constexpr std::size_t kLabelEnd = kBlanks.size();
constexpr std::size_t kIndentation = 4;

std::string_view indentation(int level) {
  return kBlanks.substr(0, static_cast<std::size_t>(level) * kIndentation);
}

// What is missing behind an indented label up to the colon.
std::string_view padding(int level, std::string_view label) {
  const std::size_t used = indentation(level).size() + label.size();
  return kBlanks.substr(std::min(used, kLabelEnd));
}

}  // namespace

void writeLine(std::ostream& out, int level, std::string_view label, std::string_view value) {
  writeJoined(out, indentation(level), label, padding(level, label), ": ", value, "\n");
}

void writeHeading(std::ostream& out, int level, std::string_view text) {
  writeJoined(out, indentation(level), text, "\n");
}

void writePaddedHeading(std::ostream& out, int level, std::string_view text) {
  writeJoined(out, indentation(level), text, padding(level, text), "\n");
}

}  // namespace zanctl
