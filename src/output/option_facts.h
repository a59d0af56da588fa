// What can be said of an option without giving it.
#pragma once

#include <string>
#include <vector>

namespace zanctl {

struct OptionFacts {
  std::vector<std::string> names;  // with their dashes
  std::string help;
  bool takesValue;
  bool valueIsOptional;
};

}  // namespace zanctl
