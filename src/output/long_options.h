// Command lines of long options, each a row of a table that the help is written from, too.
#pragma once

#include "output/option_facts.h"

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace zanctl {

struct LongOption {
  const char* name;
  char letter;        // its short form; 0 for none
  const char* value;  // what the help calls it; null for an option without one
  const char* help;
  // Takes the value, or an empty text, and says what is wrong with it; empty when nothing is.
  std::function<std::string(const std::string& value)> take;
};

// Takes one option after the other. What is wrong with the command line, in a line without a
// newline; empty when nothing is. The options are all there is: further arguments are refused.
std::string parseLongOptions(std::span<char* const> argv, std::span<const LongOption> options);

// A line for each option.
std::string helpOf(std::span<const LongOption> options);

std::vector<OptionFacts> factsOf(std::span<const LongOption> options);

// For `take`: options without a value that set a flag.
inline auto setFlag(bool& flag, bool to = true) {
  return [&flag, to](const std::string& /*value*/) {
    flag = to;
    return std::string();
  };
}

// For `take`: a text, and what to say of an empty one.
inline auto setText(std::string& text, const char* whenEmpty) {
  return [&text, whenEmpty](const std::string& value) {
    text = value;
    return std::string(text.empty() ? whenEmpty : "");
  };
}

inline auto setFile(std::string& file) { return setText(file, "a file has a name"); }

}  // namespace zanctl
