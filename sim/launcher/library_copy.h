// A library that lacks operations.
#pragma once

#include "description/operations.h"

#include <string>

namespace zansim {

// Copies the library to a directory below `state`, with the names of the missing operations made
// unfindable, and answers with that directory. Programs that look an operation up, in whatever
// way, then get the loader's own answer. Throws std::runtime_error when it cannot be written.
std::string makeLibraryWithout(const std::string& library, const OperationSet& missing,
                               const std::string& state);

}  // namespace zansim
