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

  // Opens the state in a directory; whoever comes first creates it, with `origin` as the time at
  // which the machine starts. Throws std::runtime_error with the reason when it cannot.
  SharedState(const std::string& directory, Time origin);

  ~SharedState();
  SharedState(const SharedState&) = delete;
  SharedState& operator=(const SharedState&) = delete;

  MachineState* operator->() const { return state_; }

 private:
  MachineState* state_;
};

}  // namespace zansim
