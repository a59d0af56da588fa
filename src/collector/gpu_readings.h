// What the session's current GPU answers. In the child only: it calls the library.
#pragma once

#include "collector/groups.h"
#include "collector/wire.h"

namespace zanctl::collector {

// Fetches the GPU's handle where needed. One that answers nothing loses it, so that it is fetched
// anew the next time.
GpuAnswer readGpu(std::uint32_t index, Groups groups);

// Its links to the GPUs whose handles are held.
GpuAnswer readLinks(std::uint32_t index);

}  // namespace zanctl::collector
