#include "launcher/child.h"

#include "launcher/exit_status.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zansim {

namespace {

constexpr std::array kPassedOn{SIGINT,  SIGTERM, SIGHUP,  SIGQUIT,
                               SIGTSTP, SIGUSR1, SIGUSR2, SIGWINCH};
constexpr timespec kIdleInterval{.tv_sec = 0, .tv_nsec = 100'000'000};

sigset_t watchedSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kPassedOn) sigaddset(&signals, signal);
  sigaddset(&signals, SIGCHLD);
  sigaddset(&signals, SIGCONT);
  return signals;
}

[[noreturn]] void becomeCommand(pid_t launcher, const std::vector<std::string>& command,
                                const Environment& environment) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // The launcher may have ended before the signal was asked for.
  if (getppid() != launcher) _exit(kLauncherFailed);
  for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
  sigset_t signals = watchedSignals();
  sigprocmask(SIG_UNBLOCK, &signals, nullptr);
  std::vector<char*> argv;
  argv.reserve(command.size() + 1);
  for (const std::string& argument : command) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  execvp(argv[0], argv.data());
  const int error = errno;
  const std::string message = fmt::format("zansim: {}: {}\n", command[0], std::strerror(error));
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, message.data(), message.size());
  _exit(error == ENOENT ? kCommandNotFound : kCommandCannotRun);
}

// Follows a change of the command's state; its exit status when it has ended.
std::optional<int> followChild(pid_t child) {
  int status = 0;
  const pid_t changed = waitpid(child, &status, WNOHANG | WUNTRACED | WCONTINUED);
  if (changed != child) return std::nullopt;
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return kSignalBase + WTERMSIG(status);
  // Whoever stopped the command, at the terminal or not, sees the launcher stop as well.
  if (WIFSTOPPED(status)) raise(SIGSTOP);
  return std::nullopt;
}

}  // namespace

void blockSignals() {
  sigset_t signals = watchedSignals();
  sigprocmask(SIG_BLOCK, &signals, nullptr);
}

int runCommand(const std::vector<std::string>& command, const Environment& environment,
               const std::function<void()>& idle) {
  const pid_t launcher = getpid();
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error(fmt::format("fork: {}", std::strerror(errno)));
  if (child == 0) becomeCommand(launcher, command, environment);
  const sigset_t signals = watchedSignals();
  for (;;) {
    siginfo_t info = {};
    const int signal = sigtimedwait(&signals, &info, &kIdleInterval);
    // One notice may stand for several processes that have ended, so the command is always asked.
    if (const auto status = followChild(child)) return *status;
    if (signal < 0) {
      idle();
    } else if (signal == SIGCONT) {
      kill(child, SIGCONT);
    } else if (signal != SIGCHLD && info.si_code <= 0) {
      // One that comes from the terminal has reached the command as well.
      kill(child, signal);
    }
  }
}

}  // namespace zansim
