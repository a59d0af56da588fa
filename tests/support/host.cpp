#include "support/host.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zanctl {
namespace {

namespace fs = std::filesystem;

int execute(std::vector<std::string> words, const fs::path& out, const fs::path& err) {
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), kFlags, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), kFlags, 0600);
  pid_t pid = 0;
  const int failure = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) return -1;
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

std::string content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

Host::Host() : hadFailed_(testing::Test::HasFailure()) {
  std::string name = (fs::temp_directory_path() / "zanctl_test_XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no directory for the test");
  directory_ = name;
  setenv("TZ", "UTC0", 1);
}

Host::Host(const std::string& name) : Host() { machine_ = name; }

Host Host::described(std::string_view description) {
  Host host;
  host.machine_ = (host.directory_ / "host.json").string();
  std::ofstream(host.machine_) << description;
  return host;
}

Host::Host(Host&& other) noexcept
    : directory_(std::exchange(other.directory_, {})),
      machine_(std::move(other.machine_)),
      launchOptions_(std::move(other.launchOptions_)),
      clock_(other.clock_),
      hadFailed_(other.hadFailed_) {}

Host Host::fromFile(const std::string& name, std::string_view furtherKeys) {
  std::string description = content(fs::path(ZANCTL_TEST_DATA) / "machines" / name);
  description.insert(description.find('{') + 1, furtherKeys);
  return described(description);
}

Host::~Host() {
  if (directory_.empty()) return;
  if (testing::Test::HasFailure() && !hadFailed_) {
    std::cerr << "The machine's directory is kept: " << directory_ << "\n";
    return;
  }
  std::error_code ignored;
  fs::remove_all(directory_, ignored);
}

Outcome Host::run(const std::string& arguments) { return runScript("exec zanctl " + arguments); }

Outcome Host::runScript(const std::string& script) {
  constexpr const char* kZansim = ZANCTL_BINARIES "/zansim";
  std::vector<std::string> words = {kZansim,
                                    "--host",
                                    machine_,
                                    "--state",
                                    state(),
                                    "--trace",
                                    (directory_ / "trace").string(),
                                    "--start-time",
                                    "2026-03-07 12:00:00"};
  if (clock_ == Clock::standing) words.emplace_back("--virtual-clock");
  words.insert(words.end(), launchOptions_.begin(), launchOptions_.end());
  words.insert(words.end(), {"--", "/bin/sh", "-c", script});
  fs::remove(directory_ / "trace");
  const int status = execute(std::move(words), directory_ / "out", directory_ / "err");
  return {status, content(directory_ / "out"), content(directory_ / "err")};
}

std::map<std::string, int> Host::callCounts() const {
  std::ifstream trace(directory_ / "trace");
  std::map<std::string, int> counts;
  for (std::string line; std::getline(trace, line);) {
    const std::size_t name = line.find(' ') + 1;
    ++counts[line.substr(name, line.find('(') - name)];
  }
  return counts;
}

bool updatesGolden() { return getenv("ZANCTL_UPDATE_GOLDEN") != nullptr; }

}  // namespace zanctl
