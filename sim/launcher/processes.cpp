#include "launcher/processes.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <stdexcept>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zansim {

namespace {

// Spawning needs two C objects that want to be ended.
struct SpawnSettings {
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_t actions;

  SpawnSettings() {
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_init(&actions);
    // A group of its own keeps the process out of reach of the terminal's interrupts, and without
    // descriptors it holds no pipe of the command open.
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    posix_spawn_file_actions_addclosefrom_np(&actions, 0);
  }
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;
};

// The process stops itself when all of it can be seen.
void letRun(pid_t pid) {
  siginfo_t change = {};
  while (waitid(P_PID, static_cast<id_t>(pid), &change, WSTOPPED | WEXITED | WNOWAIT) != 0 &&
         errno == EINTR) {
  }
  kill(pid, SIGCONT);
}

pid_t spawn(const std::string& program, const std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  std::string launcher = fmt::format("ZANSIM_LAUNCHER={}", getpid());
  char* const environment[] = {launcher.data(), nullptr};
  const SpawnSettings settings;
  pid_t pid = 0;
  const int error = posix_spawn(&pid, program.c_str(), &settings.actions, &settings.attributes,
                                argv.data(), environment);
  if (error != 0) {
    throw std::runtime_error(fmt::format("{}: {}", program, std::strerror(error)));
  }
  letRun(pid);
  return pid;
}

// A child that has already ended; a zombie until it is waited for.
pid_t startEnded() {
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error(fmt::format("fork: {}", std::strerror(errno)));
  if (pid == 0) _exit(0);
  siginfo_t ended = {};
  waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOWAIT);
  return pid;
}

void reap(pid_t pid) {
  while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
  }
}

bool isStarted(ProcessEntry::Kind kind) {
  return kind == ProcessEntry::Kind::real || kind == ProcessEntry::Kind::dead ||
         kind == ProcessEntry::Kind::zombie;
}

// Only ours are ended: a dead process's number may belong to somebody else by now.
void endOwn(const std::vector<unsigned>& pids) {
  std::vector<pid_t> own;
  for (const unsigned pid : pids) {
    siginfo_t state = {};
    if (waitid(P_PID, pid, &state, WEXITED | WNOHANG | WNOWAIT) != 0) continue;
    own.push_back(static_cast<pid_t>(pid));
    kill(own.back(), SIGKILL);
  }
  for (const pid_t pid : own) reap(pid);
}

}  // namespace

Processes::~Processes() {
  for (const auto& [key, pids] : table_) endOwn(pids);
}

unsigned Processes::start(const ProcessEntry& entry) const {
  if (entry.kind == ProcessEntry::Kind::real) {
    return static_cast<unsigned>(spawn(program_, entry.arguments));
  }
  const pid_t pid = startEnded();
  if (entry.kind == ProcessEntry::Kind::dead) reap(pid);
  return static_cast<unsigned>(pid);
}

void Processes::follow(const Host& host) {
  std::set<std::uint64_t> wanted;
  for (const ProcessEntry& entry : host.processes) {
    if (!isStarted(entry.kind)) continue;
    wanted.insert(entry.key);
    std::vector<unsigned>& pids = table_[entry.key];
    while (pids.size() < entry.count) pids.push_back(start(entry));
  }
  for (auto entry = table_.begin(); entry != table_.end();) {
    if (wanted.contains(entry->first)) {
      ++entry;
    } else {
      endOwn(entry->second);
      entry = table_.erase(entry);
    }
  }
}

}  // namespace zansim
