// Files that are written whole, and one that its readers only ever see whole.
#pragma once

#include <string>
#include <string_view>

namespace zanctl {

// Replaces the file, readable for all, once the text is on the disk. Says in a line what failed,
// and then the old file is as it was and nothing is beside it; else empty.
std::string replaceFile(const std::string& path, std::string_view text);

// Writes all of the text to a file descriptor. False, with errno, when that failed.
bool writeWhole(int file, std::string_view text);

}  // namespace zanctl
