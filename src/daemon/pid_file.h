// The file by whose lock at most one daemon runs, and by which it is found.
#pragma once

#include "device/descriptor.h"

#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace zanctl {

inline constexpr const char* kPidFile = "/var/run/zanctl_daemon.pid";

class PidFile {
 public:
  // Opens the file, which is created where there is none; not where a link stands in its place.
  PidFile();

  [[nodiscard]] bool isOpen() const { return file_.isOpen(); }

  enum class Lock {
    taken,
    heldByAnother,  // a daemon
    heldByReader,   // a process that may only read the file, which could not be replaced
    failed,
  };

  // Tries to take the lock, without waiting for a daemon. It is held until the file is closed or
  // the process ends, and not passed on by fork.
  [[nodiscard]] Lock lock();

  // The daemon that holds the lock, or 0 or -1 where it is not in this process's pid namespace;
  // empty where none does.
  [[nodiscard]] std::optional<pid_t> holder() const;

  // Replaces the content; false when that fails.
  [[nodiscard]] bool writePid(pid_t pid);

  // The first 16 bytes of the content; empty when there is none or it cannot be read.
  [[nodiscard]] std::string read() const;

 private:
  [[nodiscard]] bool replace();

  Descriptor file_;
};

// The text of the process id in a pid file's content: all before a zero byte.
std::string_view pidText(std::string_view content);

// The process that a pid file's content names. Empty unless the content is all of a number above 1.
std::optional<pid_t> pidToSignal(std::string_view content);

}  // namespace zanctl
