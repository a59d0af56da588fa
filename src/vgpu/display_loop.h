// The vgpu subcommand: the virtual GPUs on the GPUs that hold some, in one of several views.
#pragma once

#include "request/options.h"

#include <iosfwd>

namespace zanctl {

// Shows the view that was asked for, once or at the interval of --loop. Returns 0, or -1 after
// saying what is wrong with an option, or when standard output can no longer be written.
int runVgpu(const VgpuOptions& options, std::ostream& out);

}  // namespace zanctl
