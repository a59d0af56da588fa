// zansim without a command: a shell on the machine, at a terminal and without one.
#include "zansim_run.h"

#include <cstdlib>
#include <filesystem>

#include <pty.h>

namespace zansim {
namespace {

struct ShellCase {
  const char* program;
  const char* startUpFile;
  const char* startUp;  // what the user's own file says
  const char* prompt;
};

constexpr ShellCase kShells[] = {
    {"/bin/sh", "none", "", "[zansim host] "},
    {"/bin/bash", ".bashrc", "PS1='mine> '; mine=yes", "[zansim host] mine> "},
    {"/usr/bin/zsh", ".zshrc", "PROMPT='mine> '; mine=yes", "[zansim host] mine> "},
    {"/usr/bin/zsh", ".zshenv", "ZDOTDIR=$HOME/zdir; mine=yes", "[zansim host] "},
    {"/usr/bin/fish", ".config/fish/config.fish",
     "function fish_prompt; echo -n 'mine> '; end; set mine yes", "[zansim host] mine> "},
};

// zansim at a terminal of its own.
class Terminal {
 public:
  explicit Terminal(std::vector<std::string> arguments) {
    pid_ = forkpty(&terminal_, nullptr, nullptr, nullptr);
    if (pid_ == 0) become(std::move(arguments));
  }
  ~Terminal() { close(terminal_); }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  void type(const std::string& text) {
    EXPECT_EQ(write(terminal_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  // What is shown until this text has come, or to the end.
  std::string readUntil(const std::string& text) {
    std::string shown;
    char c = 0;
    while (shown.find(text) == std::string::npos && read(terminal_, &c, 1) == 1) shown += c;
    return shown;
  }

  int finish() {
    int status = 0;
    waitpid(pid_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t pid_ = 0;
  int terminal_ = -1;
};

class ShellTest : public ZansimTest {
 protected:
  ShellTest() {
    setenv("HOME", workspace.path("").c_str(), 1);
    setenv("TERM", "dumb", 1);
    // Without it fish collects the completions of all manual pages, in the background.
    std::filesystem::create_directories(workspace.path(".local/share/fish/generated_completions"));
    for (const char* const name : {"ZDOTDIR", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "ENV"}) {
      unsetenv(name);
    }
  }

  void use(const ShellCase& shell) {
    ASSERT_TRUE(std::filesystem::exists(shell.program)) << shell.program;
    const std::filesystem::path file = workspace.path(shell.startUpFile);
    std::filesystem::create_directories(file.parent_path());
    workspace.write(shell.startUpFile, shell.startUp);
    setenv("SHELL", shell.program, 1);
  }

  std::vector<std::string> shellLine() {
    return {ZANSIM_PROGRAM, "--host", workspace.path("host.json")};
  }
};

TEST_F(ShellTest, TellsInItsPromptWhereItIs) {
  for (const ShellCase& shell : kShells) {
    SCOPED_TRACE(std::string(shell.program) + " with " + shell.startUpFile);
    use(shell);
    Terminal terminal(shellLine());
    const std::string shown = terminal.readUntil(shell.prompt);
    EXPECT_TRUE(shown.ends_with(shell.prompt)) << shown;
    const bool hasFile = *shell.startUp != '\0';
    terminal.type("echo \"=$mine=\"; ls /dev/zanthe* | wc -l; exit 7\n");
    terminal.readUntil(hasFile ? "=yes=" : "==");
    EXPECT_NE(terminal.readUntil("\n4").find("\n4"), std::string::npos);
    EXPECT_EQ(terminal.finish(), 7);
    std::filesystem::remove(workspace.path(shell.startUpFile));
  }
}

TEST_F(ShellTest, TakesCommandsFromAPipe) {
  const std::string commands = workspace.write("commands", "ls /dev/zanthe*\nexit 7\n");
  for (const ShellCase& shell : kShells) {
    use(shell);
    const RunResult result =
        Program({"/bin/sh", "-c", "cat " + commands + " | " ZANSIM_PROGRAM}).finish();
    EXPECT_EQ(result.output.substr(0, 13), "/dev/zanthe0\n") << shell.program;
    EXPECT_EQ(result.status, 7) << shell.program;
  }
}

}  // namespace
}  // namespace zansim
