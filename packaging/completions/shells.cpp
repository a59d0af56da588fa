#include "shells.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <string_view>

namespace zanctl::completions {
namespace {

// A word of any of the three shells.
std::string quoted(std::string_view text) {
  std::string word = "'";
  for (const char character : text) {
    if (character == '\'') {
      word += R"('\'')";
    } else {
      word += character;
    }
  }
  return word + "'";
}

std::string_view nameOf(Form form) {
  switch (form) {
    case Form::one:
      return "one";
    case Form::list:
      return "list";
    case Form::letters:
      return "letters";
    case Form::files:
      return "files";
    case Form::directories:
      return "directories";
    case Form::none:
    case Form::text:
      break;
  }
  return "text";
}

// Whether the value is made of words that are known.
bool isOfWords(const Value& value) { return !value.words.empty(); }

// For zsh, a text without its marks for the pieces of an entry.
std::string plain(std::string_view text) {
  std::string result;
  for (const char character : text) {
    if (std::string_view("[]:\\").find(character) != std::string_view::npos) result += '\\';
    result += character;
  }
  return result;
}

std::string zshAction(const Value& value) {
  if (value.form == Form::none) return "";
  std::string action = " ";
  if (value.form == Form::files) action = "_files";
  if (value.form == Form::directories) action = "_files -/";
  if (isOfWords(value)) {
    action = fmt::format(" _@PROGRAM@_words {} {}", nameOf(value.form), value.words);
  }
  return fmt::format("{}{}:{}", value.optional ? "::" : ":",
                     isOfWords(value) ? value.words : nameOf(value.form), action);
}

std::string zshOption(const OptionWords& option) {
  const std::string others =
      option.value.repeatable ? "*" : fmt::format("({})", fmt::join(option.names, " "));
  std::string lines;
  for (const std::string& name : option.names) {
    const bool attaches = name.starts_with("--") && option.value.form != Form::none;
    const std::string entry = fmt::format("{}{}{}[{}]{}", others, name, attaches ? "=" : "",
                                          plain(option.help), zshAction(option.value));
    lines += "        " + quoted(entry) + "\n";
  }
  return lines;
}

std::string fishOption(const std::string& command, const OptionWords& option) {
  std::string line = "complete -c @PROGRAM@ -n " + quoted("__@PROGRAM@_in " + command);
  for (const std::string& name : option.names) {
    // -o keeps fish from bundling the short options, which zanctl refuses.
    line += name.starts_with("--") ? " -l " + name.substr(2) : " -o " + name.substr(1);
  }
  const Value& value = option.value;
  if (value.form == Form::files) {
    line += " -r -F";
  } else if (value.form != Form::none && !value.optional) {
    line += " -x";
  }
  if (value.form == Form::directories) {
    line += " -a '(__fish_complete_directories (__@PROGRAM@_value))'";
  } else if (isOfWords(value)) {
    line += fmt::format(" -a '(__@PROGRAM@_values {} {})'", nameOf(value.form), value.words);
  }
  return line + " -d " + quoted(option.help) + "\n";
}

}  // namespace

Replacements bashWords(const Commands& commands, const WordLists& lists) {
  Replacements text;
  for (const CommandWords& command : commands) {
    std::vector<std::string> names;
    for (const OptionWords& option : command.options) {
      names.insert(names.end(), option.names.begin(), option.names.end());
      if (option.value.form == Form::none || option.value.optional) continue;
      for (const std::string& name : option.names) {
        text["VALUES"] += fmt::format("    '{} {}') form={} list={} ;;\n", command.name, name,
                                      nameOf(option.value.form), option.value.words);
      }
    }
    text["OPTIONS"] +=
        fmt::format("    '{}') names='{}' ;;\n", command.name, fmt::join(names, " "));
  }
  for (const WordList& list : lists) {
    std::vector<std::string_view> names;
    for (const Word& word : list.words) names.emplace_back(word.text);
    text["WORDS"] += fmt::format("    {}) names='{}' ;;\n", list.name, fmt::join(names, " "));
  }
  return text;
}

Replacements zshWords(const Commands& commands, const WordLists& lists) {
  Replacements text;
  for (const CommandWords& command : commands) {
    text["OPTIONS"] += fmt::format("    '{}')\n      options=(\n", command.name);
    for (const OptionWords& option : command.options) text["OPTIONS"] += zshOption(option);
    text["OPTIONS"] += "      ) ;;\n";
  }
  for (const WordList& list : lists) {
    text["WORDS"] += fmt::format("    {}) names=(\n", list.name);
    for (const Word& word : list.words) {
      text["WORDS"] +=
          "        " + quoted(plain(word.text) + (word.help.empty() ? "" : ":" + word.help)) + "\n";
    }
    text["WORDS"] += "      ) ;;\n";
  }
  return text;
}

Replacements fishWords(const Commands& commands, const WordLists& lists) {
  Replacements text;
  for (const CommandWords& command : commands) {
    for (const OptionWords& option : command.options) {
      text["OPTIONS"] += fishOption(command.name, option);
    }
  }
  for (const WordList& list : lists) {
    text["WORDS"] += fmt::format("        case {}\n            printf '%s\\t%s\\n'", list.name);
    for (const Word& word : list.words) {
      text["WORDS"] +=
          fmt::format(" \\\n                {} {}", quoted(word.text), quoted(word.help));
    }
    text["WORDS"] += "\n";
  }
  return text;
}

}  // namespace zanctl::completions
