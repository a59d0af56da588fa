// Files that one process alone writes.
#pragma once

#include "device/descriptor.h"

#include <string>

namespace zanctl {

enum class FileOpening {
  opened,
  refused,
  inUse,  // another process writes the file
};

// Opens a file to read it and to append to it, and creates it where there is none. Refused is what
// cannot be opened, what is no regular file, has a second name or belongs to another user, and a
// symbolic link.
[[nodiscard]] FileOpening openToWriteAlone(const std::string& name, Descriptor& file);

// Whether no other process writes the open file. The first that asks is the only one that may, for
// as long as it keeps the file open, and learns so again whenever it asks.
[[nodiscard]] bool mayWrite(const Descriptor& file);

// Renames a file to the first of NAME.invalid, NAME.invalid.2, ... that is free. False when it
// cannot.
[[nodiscard]] bool setAside(const std::string& name);

}  // namespace zanctl
