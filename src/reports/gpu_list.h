// The list of GPUs, one line each.
#pragma once

#include <iosfwd>

namespace zanctl {

// 0.
int printGpuList(std::ostream& out);

}  // namespace zanctl
