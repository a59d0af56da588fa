// What this host knows of the processes, read for those alone that are asked for.
#pragma once

#include "device/descriptor.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include <sys/types.h>

namespace zanctl::live {

struct HostFacts {
  std::uint64_t startTicks = 0;  // since the host was started: tells processes of one id apart
  std::string user;
  std::string command;
  double cpuPercent = 0;      // of one processor, since the look before, else since its start
  std::uint64_t memory = 0;   // bytes in the host's memory
  std::uint64_t seconds = 0;  // since its start
};

class HostProcesses {
 public:
  virtual ~HostProcesses() = default;
  // Null for a process that is gone. Valid until the next round.
  [[nodiscard]] virtual const HostFacts* look(std::uint32_t pid) = 0;
};

class ProcFiles : public HostProcesses {
 public:
  const HostFacts* look(std::uint32_t pid) override;
  // From here on facts are read anew; those nobody asked for in the last round are forgotten.
  void nextRound();

 private:
  struct Known {
    HostFacts facts;
    std::uint64_t round = 0;  // in which they were read
    bool exists = false;
    std::uint64_t cpuTicks = 0;
    double lookedAt = 0;  // s since the host was started
  };
  void read(std::uint32_t pid, Known& known);
  const std::string& userName(uid_t uid);

  std::map<std::uint32_t, Known> known_;
  std::map<uid_t, std::string> users_;
  std::uint64_t round_ = 1;
  double now_ = 0;  // s since the host was started, at the beginning of the round
};

// When the process was started, in ticks since the host was; empty when it is gone.
std::optional<std::uint64_t> startTicksOf(std::uint32_t pid);

// Sends a signal to the process of this id that was started then, and to no other. Returns what
// went wrong; empty when nothing did.
std::string signalProcess(std::uint32_t pid, std::uint64_t startTicks, int signal);

}  // namespace zanctl::live
