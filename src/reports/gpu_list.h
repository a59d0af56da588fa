// The list of GPUs, one line each.
#pragma once

#include <iosfwd>

namespace zanctl {

void printGpuList(std::ostream& out);

}  // namespace zanctl
