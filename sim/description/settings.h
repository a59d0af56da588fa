// Values that are set while a machine runs, laid over its description.
#pragma once

#include "description/host.h"

#include <string>
#include <vector>

namespace zansim {

// "gpu0.clocks.sm=1400", with a value as in a description; "gpu0.lost=true" takes a GPU off the
// bus, and "gpu0.lost=false" finds it again. Nothing behind the equals sign is right for any value.
// Answers with what is wrong, or with nothing.
std::string applySetting(const std::string& setting, Host& host);

// The lines of a settings file, in which `added` replaces what was said of the same value before.
// A value that is empty only takes back what was said.
std::string addSetting(const std::string& lines, const std::string& added);

std::vector<std::string> linesOf(const std::string& text);

}  // namespace zansim
