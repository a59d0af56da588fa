#include "daemon/background.h"

#include <array>
#include <cerrno>

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace zanctl {
namespace {

constexpr timeval kLongestWait{.tv_sec = 5, .tv_usec = 0};

// Nothing is ever sent: a read ends with the other end, or with the time.
void awaitEnd(const Descriptor& ours) {
  setsockopt(ours.number(), SOL_SOCKET, SO_RCVTIMEO, &kLongestWait, sizeof kLongestWait);
  char nothing = 0;
  while (read(ours.number(), &nothing, 1) < 0 && errno == EINTR) {
  }
}

}  // namespace

Descriptor goToBackground() {
  std::array<int, 2> ends{-1, -1};
  // Of a pipe no read could be given a time.
  socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data());
  const Descriptor parents(ends[0]);
  Descriptor childs(ends[1]);
  if (fork() != 0) {
    childs = Descriptor();
    awaitEnd(parents);
    _exit(0);
  }
  setsid();
  return childs;
}

}  // namespace zanctl
