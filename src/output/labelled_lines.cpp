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

// The reports are made of these lines, so this is not left to join().
void writeLine(std::string& text, int level, std::string_view label, std::string_view value,
               std::string_view unit) {
  const std::size_t begin = text.size();
  const std::size_t labelBegin = indentation(level).size();
  const std::size_t colon = std::max(kLabelEnd, labelBegin + label.size());
  const std::size_t valueBegin = colon + 2;
  const std::size_t unitBegin = valueBegin + value.size();
  text.append(unitBegin + unit.size() + 1, ' ');
  char* const line = text.data() + begin;
  label.copy(line + labelBegin, label.size());
  line[colon] = ':';
  value.copy(line + valueBegin, value.size());
  unit.copy(line + unitBegin, unit.size());
  text.back() = '\n';
}

void writeHeading(std::string& text, int level, std::string_view heading) {
  join(text, indentation(level), heading, "\n");
}

void writePaddedHeading(std::string& text, int level, std::string_view heading) {
  join(text, indentation(level), heading, padding(level, heading), "\n");
}

}  // namespace zanctl
