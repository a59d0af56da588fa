// The course of a round: a child is provided, asked for the system and then GPU by GPU, each within
// its time, and replaced where it fails.
#pragma once

#include "collector/child_keeper.h"
#include "collector/collector.h"
#include "collector/known_gpus.h"
#include "collector/wakeup.h"

#include <deque>

namespace zanctl::collector {

class Collector::Rounds {
 public:
  explicit Rounds(LibraryMessages messages) : keeper_(messages, wakeup_) {}

  [[nodiscard]] int descriptor() const { return wakeup_.descriptor(); }
  [[nodiscard]] bool isRunning() const { return phase_ != Phase::idle; }
  [[nodiscard]] const Snapshot& snapshot() const { return snapshot_; }

  void start(RoundRequest request);
  void shorten(Moment fromNow);
  void proceed();

 private:
  enum class Phase { idle, waitingForChild, systemAsked, gpuAsked, linksAsked };

  void begin();
  [[nodiscard]] bool wantsFreshSession() const;
  bool step();
  bool awaitChild();
  void ask(Phase phase, Question question, std::uint32_t index = 0);
  bool awaitAnswer();
  bool takeSystem(std::string_view payload);
  bool takeGpu(std::string_view payload);
  bool takeLinks(std::string_view payload);
  void beginTurns(const SystemAnswer& system);
  void nextTurn();
  void endTurn(std::uint32_t index, GpuState state);
  void nextLinks();
  void blame(bool timedOut);
  void blameGpu(bool timedOut);
  void fail(const char* problem);
  void end();
  [[nodiscard]] Moment answerLimit() const;
  [[nodiscard]] std::optional<Moment> nextTime() const;

  Wakeup wakeup_;
  ChildKeeper keeper_;
  KnownGpus known_;
  Snapshot snapshot_;
  Phase phase_ = Phase::idle;

  RoundRequest request_;
  std::chrono::steady_clock::time_point startedAt_;
  Moment deadline_{};
  bool turnsBegun_ = false;
  bool timedOut_ = false;
  std::deque<std::uint32_t> turns_;  // the GPUs that are still to be asked
  std::uint32_t asked_ = 0;          // the GPU that is asked
  Moment askedAt_{};
  bool freshSession_ = false;
  Moment freshAt_ = now();
};

}  // namespace zanctl::collector
