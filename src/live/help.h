// What the keys do, in words.
#pragma once

#include "live/surface.h"

#include <span>
#include <string_view>
#include <vector>

namespace zanctl::live {

struct KeyHelp {
  std::string_view keys;
  std::string_view help;
};
std::span<const KeyHelp> keyHelp();
std::span<const KeyHelp> logKeyHelp();

// Its lines in such a width, the words of long ones on lines of their own.
std::vector<KeyHelp> wrappedHelp(std::span<const KeyHelp> help, int width);
// The last line that can stand first, so that no room is left empty.
int lastHelpTop(std::span<const KeyHelp> help, Size size);

void drawHelp(Surface& surface, std::string_view title, std::span<const KeyHelp> help, int top);

}  // namespace zanctl::live
