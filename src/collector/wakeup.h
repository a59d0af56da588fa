// One descriptor that is readable when a socket has something or a time has come.
#pragma once

#include <chrono>
#include <optional>

namespace zanctl::collector {

// A moment of a clock that is real whatever becomes of the wall clock; coarse, to some
// milliseconds.
using Moment = std::chrono::milliseconds;
Moment now();

class Wakeup {
 public:
  Wakeup();
  ~Wakeup();
  Wakeup(const Wakeup&) = delete;
  Wakeup& operator=(const Wakeup&) = delete;

  // -1 when the system had no room for it.
  [[nodiscard]] int descriptor() const { return epoll_; }

  void watch(int socket);
  // Before the socket is closed.
  void forget(int socket);

  // Replaces the time set before. Without a time it takes the socket alone.
  void wakeAt(std::optional<Moment> time);

 private:
  int epoll_;
  int timer_;
};

}  // namespace zanctl::collector
