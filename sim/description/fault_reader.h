// The faults of a description.
#pragma once

#include "description/host.h"
#include "description/node.h"

namespace zansim {

// "faults": every entry names its operations and what befalls them. The GPUs of the machine must
// have been read.
void readFaults(const Node& node, Host& host);

// "lost": GPUs that fall off the bus, every call on them failing from then on.
void readLost(const Node& node, Host& host);

// The operations that a name, a pattern or a list of them means; complains about those that mean
// none.
void readOperations(const Node& node, OperationSet& operations);

}  // namespace zansim
