// The sockets that scrapers connect to.
#pragma once

#include <string>
#include <variant>
#include <vector>

namespace zanctl::exporter {

// Sockets that listen on "HOST:PORT", "[ADDRESS]:PORT" or, on all addresses, ":PORT"; or why there
// are none, in a line.
std::variant<std::vector<int>, std::string> listenOn(const std::string& address);

// Those that systemd passed to this process; empty without any.
std::vector<int> passedListeners();

// "127.0.0.1:9835", "[::]:9835", or the path of a local socket.
std::string addressOf(int listener);

}  // namespace zanctl::exporter
