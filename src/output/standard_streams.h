// What every program does before anything else.
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace zanctl {

// A closed standard stream would lend its number to the next file that is opened.
inline void occupyStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDONLY);
  }
}

}  // namespace zanctl
