#include "output/voice.h"

#include "device/text.h"

#include <fmt/format.h>

#include <cstdio>

namespace zanctl {

void Voice::say(std::string_view line) const {
  // fmt::print() throws where nobody can read it.
  std::fputs(fmt::format("{}: {}\n", program, cleanText(line)).c_str(), stderr);
}

int Voice::complain(std::string_view problem) const {
  say(problem);
  return failure;
}

int Voice::print(std::string_view text, int status) const {
  std::fwrite(text.data(), 1, text.size(), stdout);
  return std::fflush(stdout) == 0 ? status : complain("standard output could not be written");
}

}  // namespace zanctl
