// Fills in what a description leaves out, and checks what only the whole machine shows.
#pragma once

#include "description/host.h"
#include "description/node.h"

namespace zansim {

// Complains at the places of `root` that do not fit together.
void completeHost(const Node& root, Host& host);

}  // namespace zansim
