// What can stand on a program's command line, as a completion needs it: collected from the grammar
// and from the tables that the program itself reads.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zanctl::completions {

struct Word {
  std::string text;
  std::string help;  // one line; may be empty
};

// The words of one kind, under the name that values refer to it by.
struct WordList {
  std::string_view name;
  std::vector<Word> words;
};

// How the value of an option is made up.
enum class Form {
  none,     // the option takes no value
  text,     // of anything
  one,      // of one word
  list,     // of words, separated by commas
  letters,  // of words, each a letter, without a separator
  files,
  directories,
};

struct Value {
  Form form = Form::none;
  std::string_view words;  // the name of a list of words, or kGpuWords
  bool optional = false;
  bool repeatable = false;  // the option may be given again
};

// The GPUs of the machine at hand, which no list can name beforehand.
inline constexpr std::string_view kGpuWords = "gpus";

struct OptionWords {
  std::vector<std::string> names;  // with their dashes
  std::string help;                // one line
  Value value;
};

struct CommandWords {
  std::string name;  // empty for the program itself
  std::vector<OptionWords> options;
};

// The program itself first. Throws std::logic_error for a program that is unknown, and where the
// values of options that this is told of name an option that does not exist.
std::vector<CommandWords> collectCommands(std::string_view program);

// Every list that a value of the program refers to, and its "commands" where it has some.
std::vector<WordList> collectWordLists(std::string_view program);

}  // namespace zanctl::completions
