#include "output/labelled_lines.h"

#include <fmt/ostream.h>

namespace zanctl {
namespace {

constexpr int kLabelEnd = 48;
constexpr int kIndentation = 4;

}  // namespace

void writeLine(std::ostream& out, int level, std::string_view label, std::string_view value) {
  const int indentation = level * kIndentation;
  fmt::print(out, "{:{}}{:<{}}: {}\n", "", indentation, label, kLabelEnd - indentation, value);
}

void writeHeading(std::ostream& out, int level, std::string_view text) {
  fmt::print(out, "{:{}}{}\n", "", level * kIndentation, text);
}

void writePaddedHeading(std::ostream& out, int level, std::string_view text) {
  const int indentation = level * kIndentation;
  fmt::print(out, "{:{}}{:<{}}\n", "", indentation, text, kLabelEnd - indentation);
}

}  // namespace zanctl
