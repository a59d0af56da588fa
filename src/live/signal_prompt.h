// The question whether a process is to get a signal, and which.
#pragma once

#include "live/keys.h"

#include <csignal>
#include <cstdint>
#include <string>
#include <string_view>

namespace zanctl::live {

// The process as it was when the user asked.
struct SignalRequest {
  std::uint32_t pid = 0;
  std::uint64_t startTicks = 0;
  std::string command;
  int signal = SIGTERM;
};

enum class SignalAnswer : std::uint8_t { none, send, refuse };
// Tab goes on to another signal, "y" sends it, everything else refuses.
SignalAnswer answer(SignalRequest& request, const KeyPress& key);

// In so many cells, of which the command gets what the rest leaves.
std::string questionText(const SignalRequest& request, int width);

std::string_view signalName(int signal);

}  // namespace zanctl::live
