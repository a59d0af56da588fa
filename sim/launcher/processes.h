// The processes of a simulated machine: real ones, so that "/proc" knows them.
#pragma once

#include "description/host.h"
#include "machine/process_table.h"

#include <string>

#include <sys/types.h>

namespace zansim {

// Starts processes and ends them with itself.
class Processes {
 public:
  // `program` is the one that every described process runs.
  explicit Processes(std::string program) : program_(std::move(program)) {}
  ~Processes();
  Processes(const Processes&) = delete;
  Processes& operator=(const Processes&) = delete;

  // Starts what the machine has and does not run yet, ends what it no longer has. Throws
  // std::runtime_error when a process cannot be started.
  void follow(const Host& host);

  const ProcessTable& table() const { return table_; }

 private:
  unsigned start(const ProcessEntry& entry) const;

  std::string program_;
  ProcessTable table_;
};

}  // namespace zansim
