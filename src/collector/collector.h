// Takes snapshots of the machine in rounds. A child process owns the library session and answers
// GPU by GPU; this process never calls the library, so whatever the library does, hanging and
// crashing included, the round ends at its deadline.
//
// Whoever can wait says takeRound(). Whoever has other things to do waits for descriptor() among
// them and calls proceed() when it is readable:
//
//   Collector collector;
//   collector.startRound({.groups = defaultGroups(), .deadline = 5s});
//   while (collector.isRunning()) {
//     ...poll collector.descriptor() and the rest...
//     collector.proceed();
//   }
//   show(collector.snapshot());
//
// The child is forked without a new program, so collectors belong to processes of one thread. It
// ends with this process, however that ends.
//
// - A GPU may take a third of the round. One that takes longer is hung: the child is killed, a new
//   one collects the others in the same round, and the GPU is tried again after 60 s, behind all
//   others. A GPU that takes the library down is tried again after a second, growing to 60 s.
// - Children are started at least a second apart, growing to a minute while none is of use. A
//   child that cannot be killed is waited for; until it is gone no round finds a GPU up.
// - A missing library or driver is looked for anew in every round.
#pragma once

#include "collector/groups.h"
#include "collector/snapshot.h"

#include <chrono>
#include <functional>
#include <memory>

namespace zanctl::collector {

// Where the library's own words on standard error go. Its standard output is never seen.
enum class LibraryMessages { shown, hidden };

struct RoundRequest {
  Groups groups = defaultGroups();
  std::chrono::milliseconds deadline{9500};  // from the start of the round to its end
  // Called, from startRound() and proceed(), for each GPU whose turn is over, up or not, in the
  // order of the turns. kLinks is answered behind all turns, without a call.
  std::function<void(const Gpu&)> onGpu = {};
};

class Collector {
 public:
  // Starts nothing: the first round does.
  explicit Collector(LibraryMessages messages = LibraryMessages::shown);
  ~Collector();  // kills the child
  Collector(const Collector&) = delete;
  Collector& operator=(const Collector&) = delete;

  // Readable when proceed() has something to do; the same one for the collector's whole life. -1
  // when the system had no room for it: the collector is of no use then.
  [[nodiscard]] int descriptor() const;

  // Begins a round, which may end at once. Not while one is running.
  void startRound(RoundRequest request);
  [[nodiscard]] bool isRunning() const;
  // Has a round that runs end after this time at the latest.
  void shortenRound(std::chrono::milliseconds fromNow);
  // Does what can be done without waiting. Harmless at any time, between rounds too.
  void proceed();

  // Of the round that runs, as far as it has come, else of the last one.
  [[nodiscard]] const Snapshot& snapshot() const;

  // A whole round: starts it, waits for its end and gives its snapshot. Not while one is running.
  const Snapshot& takeRound(RoundRequest request);

 private:
  class Rounds;
  std::unique_ptr<Rounds> rounds_;
};

}  // namespace zanctl::collector
