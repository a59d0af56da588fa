// The directory that holds a simulated machine's files and its shared state.
#pragma once

#include "description/host.h"
#include "machine/shared_state.h"

#include <string>

namespace zansim {

class StateDirectory {
 public:
  // An empty path: a new directory that is removed with the object. Throws std::runtime_error or
  // std::filesystem::filesystem_error when it cannot be set up.
  explicit StateDirectory(const std::string& path);
  ~StateDirectory();
  StateDirectory(const StateDirectory&) = delete;
  StateDirectory& operator=(const StateDirectory&) = delete;

  const std::string& path() const { return path_; }

  // The file that names the processes of this run.
  std::string processTable() const;

  // Lays out the device nodes, the directories and the NUMA nodes of a machine.
  void furnish(const Host& host) const;

 private:
  std::string path_;
  bool temporary_;
};

// What "--show-state" prints: a line per GPU that any command has changed.
std::string describeState(const SharedState& state);

}  // namespace zansim
