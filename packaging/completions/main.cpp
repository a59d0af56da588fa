// Fills the template of a completion script: completion_words PROGRAM bash|zsh|fish TEMPLATE OUTPUT
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

constexpr std::string_view kProgram = "@PROGRAM@";

std::string named(std::string text, std::string_view program) {
  for (std::size_t at = 0; (at = text.find(kProgram, at)) != std::string::npos;) {
    text.replace(at, kProgram.size(), program);
  }
  return text;
}

// A line "@NAME@" stands for the text of that name.
void fill(std::istream& in, std::ostream& out, Replacements replacements,
          std::string_view program) {
  for (std::string line; std::getline(in, line);) {
    const bool isMark = line.size() > 2 && line.front() == '@' && line.back() == '@';
    out << named(isMark ? replacements[line.substr(1, line.size() - 2)] : line + "\n", program);
  }
}

int run(std::span<const char* const> arguments) {
  for (const Shell& shell : kShells) {
    if (arguments.size() != 5 || shell.name != arguments[2]) continue;
    const std::string_view program = arguments[1];
    std::ifstream in(arguments[3]);
    std::ofstream out(arguments[4]);
    fill(in, out, shell.words(collectCommands(program), collectWordLists(program)), program);
    if (in.eof() && out.flush()) return 0;
    std::cerr << arguments[3] << " or " << arguments[4] << " failed\n";
    return 1;
  }
  std::cerr << "usage: completion_words PROGRAM bash|zsh|fish TEMPLATE OUTPUT\n";
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
