// The topo subcommand: how the GPUs are connected to each other and to the processors.
#pragma once

#include "cli/options.h"

#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

namespace zanctl {

// What --p2p may ask for: reading and writing.
inline constexpr std::string_view kP2pCapabilities = "rw";

// Shows the first that was asked for of the connection matrix, the GPUs near a processor, the
// nearest GPUs of one, the path between two, and the peer-to-peer matrix; `helpText`, which ends
// its last line, when nothing was. Returns 0, or -1 after saying what is wrong with an option.
int runTopology(const TopoOptions& options, const std::function<std::string()>& helpText,
                std::ostream& out);

}  // namespace zanctl
