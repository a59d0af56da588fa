// The processes of this host, as the process file system shows them.
#pragma once

#include "zanml/zanml.h"

#include <array>
#include <cstdint>
#include <string>

namespace zanctl {

// Ids of the processes that serve virtual GPUs; 0 where unused. Filled by the process readers.
std::array<std::uint32_t, kZanmlMaxVgpuPids>& vgpuProcessTable();

std::uint32_t ownProcessId();

bool processExists(std::int32_t pid);

// The command line with its arguments joined by blanks, or the bracketed command name of a process
// without one; what would not print shows as "?". "vgpu" for a process of the vGPU process table;
// empty when the process cannot be looked up.
std::string processName(std::uint32_t pid);

// The last part of the path in the command line, else the same as processName.
std::string programName(std::uint32_t pid);

}  // namespace zanctl
