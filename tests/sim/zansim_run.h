// Runs zansim as people do.
#pragma once

#include "workspace.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zansim {

struct RunResult {
  int status;          // the exit status, or 128 and the signal
  std::string output;  // standard output and error
};

// What a forked child does: it becomes the program, or ends with status 99.
[[noreturn]] inline void become(std::vector<std::string> arguments) {
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  execv(argv[0], argv.data());
  _exit(99);
}

// A program under way, whose output is read to its end.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    int ends[2] = {};
    if (pipe(ends) != 0) throw std::runtime_error("pipe");
    pid_ = fork();
    if (pid_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      dup2(ends[1], STDERR_FILENO);
      close(ends[0]);
      close(ends[1]);
      become(std::move(arguments));
    }
    close(ends[1]);
    output_ = fdopen(ends[0], "r");
  }
  ~Program() {
    std::fclose(output_);
    if (!waited_) waitpid(pid_, nullptr, 0);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t pid() const { return pid_; }

  // Without its newline.
  std::string readLine() {
    std::string line;
    for (int c = std::getc(output_); c != EOF && c != '\n'; c = std::getc(output_)) {
      line += static_cast<char>(c);
    }
    return line;
  }

  RunResult finish() {
    RunResult result{0, {}};
    for (int c = std::getc(output_); c != EOF; c = std::getc(output_)) {
      result.output += static_cast<char>(c);
    }
    int status = 0;
    waitpid(pid_, &status, 0);
    waited_ = true;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
  }

 private:
  pid_t pid_ = 0;
  std::FILE* output_ = nullptr;
  bool waited_ = false;
};

class ZansimTest : public ::testing::Test {
 protected:
  ZansimTest() { workspace.write("host.json", R"({"gpus": [{"count": 3}]})"); }

  std::vector<std::string> commandLine(const std::vector<std::string>& options,
                                       const std::vector<std::string>& command) {
    std::vector<std::string> line{ZANSIM_PROGRAM, "--host", workspace.path("host.json")};
    line.insert(line.end(), options.begin(), options.end());
    line.push_back("--");
    line.insert(line.end(), command.begin(), command.end());
    return line;
  }

  RunResult zansim(const std::vector<std::string>& options,
                   const std::vector<std::string>& command) {
    return Program(commandLine(options, command)).finish();
  }

  // A shell script on the machine.
  RunResult script(const std::string& text, const std::vector<std::string>& options = {}) {
    return zansim(options, {"sh", "-c", text});
  }

  // Of a script that succeeds.
  std::string output(const std::string& text, const std::vector<std::string>& options = {}) {
    const RunResult result = script(text, options);
    EXPECT_EQ(result.status, 0) << result.output;
    return result.output;
  }

  Workspace workspace;
};

}  // namespace zansim
