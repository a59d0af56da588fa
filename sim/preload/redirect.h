// Which paths of the real machine stand in the state directory of the simulated one.
#pragma once

#include <climits>

struct PathBuffer {
  char text[PATH_MAX];
};

// The path to use instead of `path`, in the buffer; or `path` itself, null included.
const char* redirected(const char* path, PathBuffer& buffer);
// The same of a path that begins in an open directory; there only whole paths are redirected.
const char* redirectedAt(int directory, const char* path, PathBuffer& buffer);

// Turns a path in the state directory back into the one that stands for it. The text is replaced
// in place, by one that is never longer.
void restore(char* path);
