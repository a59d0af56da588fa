// The directory that holds a simulated machine's files and its shared state. It is empty or holds
// the state of a machine, belongs to the user and can be written to by nobody else; no link below
// it is followed, and nothing is removed from it but what zansim has made.
#pragma once

#include "description/host.h"
#include "machine/descriptor.h"
#include "machine/shared_state.h"

#include <optional>
#include <string>
#include <vector>

namespace zansim {

class StateDirectory {
 public:
  // Whoever comes first makes the machine, which starts at `origin`. An empty path: a new directory
  // that is removed with the object. Throws std::runtime_error or std::filesystem::filesystem_error
  // when the directory is refused or cannot be made.
  StateDirectory(const std::string& path, Time origin);
  ~StateDirectory();
  StateDirectory(const StateDirectory&) = delete;
  StateDirectory& operator=(const StateDirectory&) = delete;

  const std::string& path() const { return path_; }

  // The file that names the processes of this run.
  std::string processTable() const { return path_ + "/" + processTableName(); }
  void writeProcessTable(const std::string& table) const;

  // How many GPUs have a device node; 0 also where the machine has no driver.
  std::size_t gpuNodes() const;

  // Adds lines like "gpu0.temperature=95" to those that the programs on the machine heed.
  void addSettings(const std::vector<std::string>& settings) const;

  // Lays out the device nodes, the directories and the NUMA nodes of a machine.
  void furnish(const Host& host) const;

 private:
  static std::string processTableName();

  std::string path_;
  Descriptor directory_;
  std::optional<Descriptor> mark_;  // of a temporary directory
};

// What "--show-state" prints of a directory: a line per GPU that any command has changed, and what
// has been set. Throws like StateDirectory.
std::string describeState(const std::string& path);

}  // namespace zansim
