// The topo subcommand: how the GPUs are connected to each other and to the processors.
#pragma once

#include "request/options.h"

#include <iosfwd>
#include <string_view>

namespace zanctl {

// What --p2p may ask for: reading and writing.
inline constexpr std::string_view kP2pCapabilities = "rw";

// Shows the first that was asked for of the connection matrix, the GPUs near a processor, the
// nearest GPUs of one, the path between two, and the peer-to-peer matrix. Returns 0, kHelpAsked
// when nothing was, or -1 after saying what is wrong with an option.
int runTopology(const TopoOptions& options, std::ostream& out);

}  // namespace zanctl
