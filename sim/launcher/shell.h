// The shell that stands in for a command.
#pragma once

#include "launcher/child.h"
#include "launcher/layout.h"

#include <string>
#include <vector>

namespace zansim {

struct Shell {
  std::vector<std::string> command;
  Environment environment;
};

// The user's shell, its prompt beginning with the machine that "--host" means.
Shell userShell(const Layout& layout, const std::string& host);

}  // namespace zansim
