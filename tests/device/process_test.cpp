#include "device/process.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zanctl {
namespace {

// A process that has run exec with these arguments and waits; ended with this object.
class WaitingProcess {
 public:
  // `sh` waits in a built-in command, whatever arguments stand behind its script.
  explicit WaitingProcess(const std::string& name, const std::vector<std::string>& arguments) {
    std::vector<std::string> words = {name, "-c", "read unused", "script"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    int started[2];
    int input[2];
    if (pipe2(started, O_CLOEXEC) != 0 || pipe2(input, O_CLOEXEC) != 0) std::abort();
    pid_ = fork();
    if (pid_ == 0) {
      dup2(input[0], STDIN_FILENO);
      execv("/bin/sh", argv.data());
      _exit(1);
    }
    close(started[1]);
    close(input[0]);
    char unused = 0;
    while (read(started[0], &unused, 1) > 0) {
    }
    close(started[0]);
    input_ = input[1];
  }
  ~WaitingProcess() {
    close(input_);
    waitpid(pid_, nullptr, 0);
  }
  WaitingProcess(const WaitingProcess&) = delete;
  WaitingProcess& operator=(const WaitingProcess&) = delete;

  [[nodiscard]] std::uint32_t pid() const { return static_cast<std::uint32_t>(pid_); }

 private:
  pid_t pid_;
  int input_ = -1;
};

std::string nameFromPs(std::uint32_t pid) {
  const std::string command = fmt::format("LC_ALL=C.UTF-8 ps -p {} -o command=", pid);
  // NOLINTNEXTLINE(cert-env33-c): the command is ours
  FILE* output = popen(command.c_str(), "r");
  std::string text;
  for (int c = 0; (c = std::fgetc(output)) != EOF;) text.push_back(static_cast<char>(c));
  pclose(output);
  if (!text.empty()) text.pop_back();
  return text;
}

TEST(ProcessName, isWhatPsShows) {
  const std::vector<std::vector<std::string>> cases = {
      {"--epochs", "10"},
      {"", "two", "", "blanks  inside", " "},
      {"ends with empty", "", ""},
      {"tab\there", "line\nbreak", "\x1b[31mred", "\x7f\x01"},
      {"h\u00e9llo", "\u4e2d\u6587", "q\u0301", "\u0085 \u2028 \U000F0000"},
      {"cut\xe4\xb8", "\xf0\x9f\x98", "\xe4\xc3\xa9\x01", "\xed\xa0\x80\x01\xc3\xa9"},
      {"\xf4\x90\x80\x80\x01\xc3\xa9", "\xe0\x80\x80\x01\xc3\xa9"},
      {"bad \xc3\xa9\xff\x01\xc3\xa9\n"},
      {"\x80", "\x01"},
      {std::string(100'000, 'x'), std::string(100'000, 'y')},
  };
  for (const auto& arguments : cases) {
    const WaitingProcess process("worker", arguments);
    EXPECT_EQ(processName(process.pid()), nameFromPs(process.pid())) << arguments.front();
  }
}

TEST(ProcessName, ofAZombieIsItsBracketedCommandName) {
  int named[2];
  ASSERT_EQ(pipe(named), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    prctl(PR_SET_NAME, "odd) (na\nme");
    _exit(0);
  }
  siginfo_t info{};
  waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
  EXPECT_TRUE(processExists(pid));
  EXPECT_EQ(processName(static_cast<std::uint32_t>(pid)), "[odd) (na?me] <defunct>");
  EXPECT_EQ(processName(static_cast<std::uint32_t>(pid)),
            nameFromPs(static_cast<std::uint32_t>(pid)));
  waitpid(pid, nullptr, 0);
  EXPECT_FALSE(processExists(pid));
  EXPECT_EQ(processName(static_cast<std::uint32_t>(pid)), "");
}

TEST(ProcessName, ofAVirtualGpusProcessIsVgpuWhetherItExistsOrNot) {
  vgpuProcessTable().fill(0);
  vgpuProcessTable()[31] = 4'000'000'000U;
  EXPECT_EQ(processName(4'000'000'000U), "vgpu");
  EXPECT_EQ(processName(0), "");
  vgpuProcessTable().fill(0);
  EXPECT_EQ(processName(4'000'000'000U), "");
}

}  // namespace
}  // namespace zanctl
