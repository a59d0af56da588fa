// What every program does before anything else.
#pragma once

namespace zanctl {

// To be called first in main(). A file that grows to its limit becomes one that cannot be written,
// like any other, and a closed standard stream lends its number to no file.
void startProgram();

// From now on the program says this line, newline included, and ends with the status where there is
// no memory even for an exception, or where nobody catches a std::bad_alloc. To be called before
// anything is initialised that may need memory; the line must stay where it is.
void endOnWantOfMemory(const char* line, int status);

}  // namespace zanctl
