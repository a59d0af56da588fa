// Opens the state that concurrent runs on one machine share.
#pragma once

#include "description/signal.h"
#include "machine/state_layout.h"

#include <string>

namespace zansim {

// A mapping of the state; ends with the object.
class SharedState {
 public:
  // State of this process alone, for a library that nobody gave a directory.
  explicit SharedState(Time origin);

  // Opens the state in a directory. Throws std::runtime_error with the reason when there is none.
  explicit SharedState(const std::string& directory);

  ~SharedState();
  SharedState(const SharedState&) = delete;
  SharedState& operator=(const SharedState&) = delete;

  MachineState* operator->() const { return state_; }

 private:
  MachineState* state_;
};

// Whether the open directory holds a state, followed through no link.
bool holdsState(int directory);

// Whether the directory holds what a creation that came to a sudden end has left.
bool holdsUnfinishedState(int directory);

// Creates the state of a machine that starts at `origin` in the open directory, which stands at the
// path. Whoever calls it has locked the directory. Throws std::runtime_error.
void createState(int directory, const std::string& path, Time origin);

}  // namespace zansim
