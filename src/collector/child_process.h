// The parent's end of the child process.
#pragma once

#include "collector/collector.h"
#include "collector/wire.h"

#include <string>

#include <sys/types.h>

namespace zanctl::collector {

class ChildProcess {
 public:
  explicit ChildProcess(LibraryMessages messages) : messages_(messages) {}
  ~ChildProcess();  // kills it and waits a moment for its end
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Not while there is one. False when the system has no room for it.
  bool start();
  [[nodiscard]] bool isTalking() const { return socket_ >= 0; }
  // Whether the process is gone for good. One that was killed may sit in the kernel for a while.
  bool isGone();
  void kill();

  // For whoever waits: readable when receive() has something. -1 unless it is talking.
  [[nodiscard]] int socket() const { return socket_; }

  // False when the child does not take it.
  bool ask(const Request& request);

  enum class Received { nothing, frame, broken };
  // Without waiting. A frame's payload is valid until the next call; `broken` is garbage, or the
  // child's end.
  Received receive(std::string_view& payload);

 private:
  Received firstOfBuffer(std::string_view& payload) const;

  LibraryMessages messages_;
  pid_t pid_ = -1;
  int socket_ = -1;
  std::string buffer_;
  std::size_t taken_ = 0;  // bytes of the buffer that the last frame took
};

}  // namespace zanctl::collector
