// Fills the template of a completion script: completion_words bash|zsh|fish TEMPLATE OUTPUT
#include "shells.h"

#include <exception>
#include <fstream>
#include <iostream>
#include <span>
#include <string_view>

namespace {

using namespace zanctl::completions;

struct Shell {
  std::string_view name;
  Replacements (*words)(const Commands&, const WordLists&);
};

constexpr std::array<Shell, 3> kShells = {
    {{"bash", bashWords}, {"zsh", zshWords}, {"fish", fishWords}}};

// A line "@NAME@" stands for the text of that name.
void fill(std::istream& in, std::ostream& out, Replacements replacements) {
  for (std::string line; std::getline(in, line);) {
    const bool isMark = line.size() > 2 && line.front() == '@' && line.back() == '@';
    if (isMark) {
      out << replacements.at(line.substr(1, line.size() - 2));
    } else {
      out << line << "\n";
    }
  }
}

int run(std::span<const char* const> arguments) {
  for (const Shell& shell : kShells) {
    if (arguments.size() != 4 || shell.name != arguments[1]) continue;
    std::ifstream in(arguments[2]);
    std::ofstream out(arguments[3]);
    fill(in, out, shell.words(collectCommands(), collectWordLists()));
    if (in.eof() && out.flush()) return 0;
    std::cerr << arguments[2] << " or " << arguments[3] << " failed\n";
    return 1;
  }
  std::cerr << "usage: completion_words bash|zsh|fish TEMPLATE OUTPUT\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run({argv, static_cast<std::size_t>(argc)});
  } catch (const std::exception& error) {
    std::cerr << "completion_words: " << error.what() << "\n";
    return 1;
  }
}
