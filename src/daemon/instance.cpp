#include "daemon/instance.h"

#include "daemon/background.h"
#include "device/descriptor.h"
#include "device/session.h"

#include <iostream>

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zanctl {
namespace {

constexpr int kStartMilliseconds = 500;
constexpr int kEndMilliseconds = 4000;

// Asks every millisecond, for as many of them at most.
template <typename Condition>
void await(int milliseconds, Condition holds) {
  for (; milliseconds > 0 && !holds(); --milliseconds) usleep(1000);
}

// Between taking the lock and writing its pid a daemon leaves the pid of an earlier one, or none.
void awaitPid(const PidFile& file) {
  await(kStartMilliseconds, [&file] {
    const auto holder = file.holder();
    return holder.value_or(0) <= 0 || pidToSignal(file.read()) == holder;
  });
}

// Ends this process as one that does not come to run; what it said comes out.
[[noreturn]] void endAtOnce(int status) {
  std::cout.flush();
  _exit(status);
}

[[noreturn]] void leaveToTheOther(const PidFile& file) {
  awaitPid(file);
  const std::string content = file.read();
  if (content.empty()) endAtOnce(1);
  std::cout << "Daemon already running with pid " << pidText(content) << "\n";
  endAtOnce(0);
}

// The library's connection to the driver belongs to the process that opened it, so the child opens
// its own when it samples.
Descriptor leaveTheUser() {
  std::cout.flush();
  closeSession();
  return goToBackground();
}

}  // namespace

PidFile becomeDaemon() {
  const Descriptor starting = leaveTheUser();
  PidFile file;
  if (!file.isOpen()) endAtOnce(1);
  switch (file.lock()) {
    case PidFile::Lock::heldByAnother:
      leaveToTheOther(file);
    case PidFile::Lock::heldByReader:
      std::cout << "The pid file " << kPidFile << " is locked by a process that is no daemon\n";
      endAtOnce(1);
    case PidFile::Lock::failed:
      endAtOnce(1);
    case PidFile::Lock::taken:
      break;
  }
  if (!file.writePid(getpid()) || chdir("/") != 0) endAtOnce(1);
  umask(0);
  return file;
}

void endDaemon() {
  const Descriptor ending = leaveTheUser();
  const PidFile file;
  if (!file.isOpen()) endAtOnce(1);
  awaitPid(file);
  const auto daemon = file.holder();
  if (daemon && pidToSignal(file.read()) == daemon) {
    const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, *daemon, 0U)));
    kill(*daemon, SIGKILL);
    pollfd end{.fd = process.number(), .events = POLLIN, .revents = 0};
    if (process.isOpen()) {
      poll(&end, 1, kEndMilliseconds);
    } else {
      // A kernel before 5.3 does not tell when the process is gone.
      await(kEndMilliseconds, [&] { return file.holder() != daemon; });
    }
  }
  endAtOnce(0);
}

}  // namespace zanctl
