// Fills in what a description leaves out.
#pragma once

#include "description/host.h"

#include <optional>

namespace zansim {

// Everything but the processes.
void completeHost(Host& host);

// Makes the processes of the GPUs those of the machine, behind its own.
void completeProcesses(Host& host);

// The id that two vGPU instances of a complete machine have.
std::optional<unsigned> sharedInstanceId(const Host& host);

}  // namespace zansim
