// Fills in what a description leaves out, and checks what only the whole machine shows.
#pragma once

#include "description/host.h"
#include "description/node.h"

namespace zansim {

// Complains where what the description names is not there.
void completeHost(Host& host, Findings& findings);

}  // namespace zansim
