#include "collector/child_keeper.h"

#include <algorithm>

namespace zanctl::collector {
namespace {

constexpr Moment kLongestPause{60'000};
constexpr Moment kLongestLookPause{1000};
// A killed child that is not gone by then sits in the kernel, and a round does not wait for it.
constexpr Moment kDeathPatience{1000};

}  // namespace

void ChildKeeper::bury() {
  if (!dying_) return;
  dying_ = !child_.isGone();
  lookPause_ = std::min(lookPause_ * 2, kLongestLookPause);
}

ChildKeeper::Outcome ChildKeeper::provide(Moment deadline) {
  if (child_.isTalking()) return {.talking = true};
  bury();
  const Moment time = now();
  if (dying_) {
    const bool hopeless = time >= std::min(deadline, lostAt_ + kDeathPatience);
    return {.problem = hopeless ? "a call of the management library cannot be ended" : nullptr};
  }
  if (time < nextStart_) {
    const bool hopeless = nextStart_ >= deadline;
    return {.problem = hopeless ? "the management library failed and rests for now" : nullptr};
  }
  if (!child_.start()) return {.problem = "no process could be started for the library"};
  wakeup_.watch(child_.socket());
  lastStart_ = time;
  if (everStarted_) ++restarts_;
  everStarted_ = true;
  return {.talking = true};
}

void ChildKeeper::lose() {
  wakeup_.forget(child_.socket());
  child_.kill();
  dying_ = true;
  lostAt_ = now();
  lookPause_ = Moment(1);
  nextStart_ = lastStart_ + pause_;
  pause_ = std::min(pause_ * 2, kLongestPause);
}

// Between rounds the child has nothing to say but its end.
void ChildKeeper::look() {
  bury();
  std::string_view ignored;
  if (child_.isTalking() && child_.receive(ignored) != ChildProcess::Received::nothing) lose();
}

std::optional<Moment> ChildKeeper::nextLook() const {
  return dying_ ? std::optional(now() + lookPause_) : std::nullopt;
}

std::optional<Moment> ChildKeeper::nextProvision() const {
  if (child_.isTalking()) return std::nullopt;
  return dying_ ? nextLook() : std::optional(nextStart_);
}

}  // namespace zanctl::collector
