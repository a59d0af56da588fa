// One daemon on a machine: becoming it, or ending the one that runs.
#pragma once

#include "daemon/pid_file.h"

namespace zanctl {

// Returns in a process in the background that is the machine's one daemon, for as long as it keeps
// what is returned. Every other process ends in here: the calling one with status 0, not before the
// daemon can be found, and the one in the background, after saying why, where it cannot become it.
[[nodiscard]] PidFile becomeDaemon();

// Kills the daemon, if one runs. The calling process ends with status 0 when it is gone.
[[noreturn]] void endDaemon();

}  // namespace zanctl
