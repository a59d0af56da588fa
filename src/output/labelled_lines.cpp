#include "output/labelled_lines.h"

#include "output/text.h"

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

void writeLine(std::string& text, int level, std::string_view label, std::string_view value,
               std::string_view unit) {
  join(text, indentation(level), label, padding(level, label), ": ", value, unit, "\n");
}

void writeHeading(std::string& text, int level, std::string_view heading) {
  join(text, indentation(level), heading, "\n");
}

void writePaddedHeading(std::string& text, int level, std::string_view heading) {
  join(text, indentation(level), heading, padding(level, heading), "\n");
}

}  // namespace zanctl
