// Keeps one child alive: when a new one may be started, and how long a killed one is waited for.
#pragma once

#include "collector/child_process.h"
#include "collector/wakeup.h"

#include <optional>

namespace zanctl::collector {

class ChildKeeper {
 public:
  ChildKeeper(LibraryMessages messages, Wakeup& wakeup) : wakeup_(wakeup), child_(messages) {}

  [[nodiscard]] ChildProcess& child() { return child_; }
  [[nodiscard]] std::uint64_t restarts() const { return restarts_; }

  // Sees to it that the child talks, by starting one if need be.
  struct Outcome {
    bool talking = false;
    const char* problem = nullptr;  // why it will not until the deadline; null while it may
  };
  Outcome provide(Moment deadline);

  // Kills it.
  void lose();
  // It is of use: should it be lost, the next one may follow soon.
  void praise() { pause_ = kFirstPause; }

  // Between rounds: takes note of the end of the child.
  void look();
  // When to look() or provide() again; none when there is nothing to wait for.
  [[nodiscard]] std::optional<Moment> nextLook() const;
  [[nodiscard]] std::optional<Moment> nextProvision() const;

 private:
  void bury();

  static constexpr Moment kFirstPause{1000};

  Wakeup& wakeup_;
  ChildProcess child_;
  std::uint64_t restarts_ = 0;
  bool everStarted_ = false;
  Moment lastStart_{};
  Moment nextStart_{};
  Moment pause_ = kFirstPause;  // between the last start and the next, should this child be lost
  bool dying_ = false;          // killed, but not gone yet
  Moment lostAt_{};
  Moment lookPause_{};  // between two looks whether it is gone
};

}  // namespace zanctl::collector
