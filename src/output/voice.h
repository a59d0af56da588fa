// How a program speaks to whoever started it.
#pragma once

#include <string>
#include <string_view>

namespace zanctl {

struct Voice {
  const char* program;
  int failure;  // the exit status that goes with a complaint

  // One line on standard error, whatever texts of others are in it.
  void say(std::string_view line) const;
  // The same, and gives the failure status.
  [[nodiscard]] int complain(std::string_view problem) const;

  // Gives the status, or complains when standard output does not take the text.
  [[nodiscard]] int print(std::string_view text, int status = 0) const;
};

}  // namespace zanctl
