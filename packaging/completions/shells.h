// The words of the command line in the languages of the shells.
#pragma once

#include "command_words.h"

#include <map>
#include <string>
#include <vector>

namespace zanctl::completions {

// What takes the place of the line "@NAME@" in the template of a script, by the name. "@PROGRAM@"
// stands for the program's name, here and there.
using Replacements = std::map<std::string, std::string>;

using Commands = std::vector<CommandWords>;
using WordLists = std::vector<WordList>;

Replacements bashWords(const Commands& commands, const WordLists& lists);
Replacements zshWords(const Commands& commands, const WordLists& lists);
Replacements fishWords(const Commands& commands, const WordLists& lists);

}  // namespace zanctl::completions
