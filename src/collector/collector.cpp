#include "collector/collector.h"

#include "collector/rounds.h"

#include <utility>

#include <poll.h>

namespace zanctl::collector {

Collector::Collector(LibraryMessages messages) : rounds_(std::make_unique<Rounds>(messages)) {}

Collector::~Collector() = default;

int Collector::descriptor() const { return rounds_->descriptor(); }

void Collector::startRound(RoundRequest request) { rounds_->start(std::move(request)); }

bool Collector::isRunning() const { return rounds_->isRunning(); }

void Collector::shortenRound(std::chrono::milliseconds fromNow) { rounds_->shorten(fromNow); }

void Collector::proceed() { rounds_->proceed(); }

const Snapshot& Collector::snapshot() const { return rounds_->snapshot(); }

const Snapshot& Collector::takeRound(RoundRequest request) {
  startRound(std::move(request));
  while (isRunning()) {
    pollfd wakeup{.fd = descriptor(), .events = POLLIN, .revents = 0};
    poll(&wakeup, 1, -1);
    proceed();
  }
  return snapshot();
}

}  // namespace zanctl::collector
