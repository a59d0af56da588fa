#include "live/signal_prompt.h"

#include "live/surface.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace zanctl::live {
namespace {

struct NamedSignal {
  int number;
  std::string_view name;
};
constexpr std::array<NamedSignal, 4> kSignals = {
    {{SIGTERM, "TERM"}, {SIGINT, "INT"}, {SIGHUP, "HUP"}, {SIGKILL, "KILL"}}};

}  // namespace

SignalAnswer answer(SignalRequest& request, const KeyPress& key) {
  if (key.code == KeyCode::tab) {
    const auto* chosen = std::find_if(
        kSignals.begin(), kSignals.end(),
        [&request](const NamedSignal& known) { return known.number == request.signal; });
    request.signal = (++chosen == kSignals.end() ? kSignals.begin() : chosen)->number;
    return SignalAnswer::none;
  }
  const bool yes = key.character == 'y' || key.character == 'Y';
  return yes ? SignalAnswer::send : SignalAnswer::refuse;
}

std::string questionText(const SignalRequest& request, int width) {
  const std::string question =
      fmt::format("Send {} to {} ", signalName(request.signal), request.pid);
  constexpr std::array<std::string_view, 2> kAnswers = {"? y yes, n no, Tab another signal",
                                                        "? y n Tab"};
  constexpr int kLeastCommand = 20;
  int room = 0;
  std::string_view answers;
  for (const std::string_view these : kAnswers) {
    answers = these;
    room = width - cellsOf(question) - cellsOf(these);
    if (room >= std::min(kLeastCommand, cellsOf(request.command))) break;
  }
  return question + shortened(request.command, room) + std::string(answers);
}

std::string_view signalName(int signal) {
  const auto* named =
      std::find_if(kSignals.begin(), kSignals.end(),
                   [signal](const NamedSignal& known) { return known.number == signal; });
  return named == kSignals.end() ? "" : named->name;
}

}  // namespace zanctl::live
