#include "collector/child_process.h"

#include "collector/child.h"
#include "collector/wakeup.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zanctl::collector {
namespace {

constexpr int kSocket = STDERR_FILENO + 1;  // the child's, and its highest descriptor
constexpr Moment kPatience{300};

// Nothing of the parent's is the library's business: neither its descriptors nor its signals.
void isolate(int socket, LibraryMessages messages) {
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  dup2(nothing, STDIN_FILENO);
  dup2(nothing, STDOUT_FILENO);
  if (messages == LibraryMessages::hidden) dup2(nothing, STDERR_FILENO);
  if (socket != kSocket) dup2(socket, kSocket);
  fcntl(kSocket, F_SETFD, FD_CLOEXEC);
  syscall(SYS_close_range, kSocket + 1, ~0U, 0);

  for (int number = 1; number < SIGRTMIN; ++number) std::signal(number, SIG_DFL);
  // The terminal's signals are meant for the parent, with which the child ends.
  for (const int number : {SIGINT, SIGQUIT, SIGTSTP, SIGTERM, SIGHUP}) {
    std::signal(number, SIG_IGN);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  // A library that crashes again and again would fill the disk, with the parent's secrets.
  const rlimit noCore{};
  setrlimit(RLIMIT_CORE, &noCore);
}

// Nothing that is thrown in the child reaches the parent's objects in it.
[[noreturn]] void become(int socket, pid_t parent, LibraryMessages messages) noexcept {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(0);
  isolate(socket, messages);
  serve(kSocket);
}

}  // namespace

ChildProcess::~ChildProcess() {
  kill();
  // It is gone in no time, or else will be long in the kernel.
  const Moment limit = now() + kPatience;
  while (!isGone() && now() < limit) sched_yield();
}

bool ChildProcess::start() {
  std::array<int, 2> sockets{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) return false;
  const pid_t self = getpid();
  pid_ = fork();
  if (pid_ == 0) become(sockets[1], self, messages_);
  close(sockets[1]);
  if (pid_ < 0) {
    close(sockets[0]);
    return false;
  }
  socket_ = sockets[0];
  buffer_.clear();
  taken_ = 0;
  return true;
}

bool ChildProcess::isGone() {
  if (pid_ < 0) return true;
  const pid_t ended = waitpid(pid_, nullptr, WNOHANG);
  // Somebody else may have waited for it.
  if (ended == pid_ || (ended < 0 && errno == ECHILD)) pid_ = -1;
  return pid_ < 0;
}

void ChildProcess::kill() {
  if (socket_ >= 0) close(socket_);
  socket_ = -1;
  if (pid_ > 0) ::kill(pid_, SIGKILL);
}

bool ChildProcess::ask(const Request& request) {
  const ssize_t sent = send(socket_, &request, sizeof request, MSG_NOSIGNAL | MSG_DONTWAIT);
  return sent == static_cast<ssize_t>(sizeof request);
}

ChildProcess::Received ChildProcess::firstOfBuffer(std::string_view& payload) const {
  const Frame frame = firstFrame(buffer_);
  if (frame.garbage) return Received::broken;
  if (!frame.payload) return Received::nothing;
  payload = *frame.payload;
  return Received::frame;
}

ChildProcess::Received ChildProcess::receive(std::string_view& payload) {
  buffer_.erase(0, taken_);
  taken_ = 0;
  std::array<char, 16384> chunk{};
  Received received = firstOfBuffer(payload);
  while (received == Received::nothing) {
    const ssize_t got = recv(socket_, chunk.data(), chunk.size(), MSG_DONTWAIT);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0 && errno == EAGAIN) return Received::nothing;
    if (got <= 0) return Received::broken;
    buffer_.append(chunk.data(), static_cast<std::size_t>(got));
    received = firstOfBuffer(payload);
  }
  if (received == Received::frame) taken_ = kFrameHead + payload.size();
  return received;
}

}  // namespace zanctl::collector
