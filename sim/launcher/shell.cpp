#include "launcher/shell.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <filesystem>

#include <unistd.h>

namespace zansim {

namespace {

// A "{}" stands for the directory of the shells' files.
struct ShellRow {
  std::string_view name;
  std::array<const char*, 2> arguments;
  const char* variable;
  const char* value;
};

constexpr std::array kShells{
    ShellRow{"bash", {"--rcfile", "{}/bashrc"}, nullptr, nullptr},
    ShellRow{"zsh", {}, "ZDOTDIR", "{}/zsh"},
    ShellRow{"fish", {"--init-command", "source $ZANSIM_SHELL/config.fish"}, nullptr, nullptr},
};

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// What no shell takes for anything but itself.
std::string nameInPrompt(const std::string& host) {
  std::string name = std::filesystem::path(host).stem();
  std::replace_if(
      name.begin(), name.end(),
      [](unsigned char c) { return std::isalnum(c) == 0 && c != '.' && c != '_' && c != '-'; },
      '_');
  return name;
}

}  // namespace

Shell userShell(const Layout& layout, const std::string& host) {
  std::string program = variable("SHELL");
  if (program.empty()) program = "/bin/sh";
  const std::string name = nameInPrompt(host);
  Shell shell{.command = {program},
              .environment = {{"ZANSIM_NAME", name}, {"ZANSIM_SHELL", layout.shell}}};
  const std::string kind = std::filesystem::path(program).filename();
  const auto* const row = std::find_if(kShells.begin(), kShells.end(),
                                       [&](const ShellRow& known) { return known.name == kind; });
  if (row == kShells.end()) {
    const char* const mark = geteuid() == 0 ? "#" : "$";
    shell.environment.emplace_back("PS1", fmt::format("[zansim {}] {} ", name, mark));
    return shell;
  }
  const auto inDirectory = [&](std::string_view text) {
    return fmt::format(fmt::runtime(text), layout.shell);
  };
  for (const char* const argument : row->arguments) {
    if (argument != nullptr) shell.command.push_back(inDirectory(argument));
  }
  if (row->variable != nullptr) {
    shell.environment.emplace_back(fmt::format("ZANSIM_{}", row->variable),
                                   variable(row->variable));
    shell.environment.emplace_back(row->variable, inDirectory(row->value));
  }
  return shell;
}

}  // namespace zansim
