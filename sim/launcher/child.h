// Runs the command and stands between it and whoever started the launcher.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace zansim {

// Blocks the signals that are passed on; to be called before any process is started.
void blockSignals();

// Variables to set in the command's environment.
using Environment = std::vector<std::pair<std::string, std::string>>;

// Runs the command to its end and answers with the exit status that stands for it. `idle` is called
// several times a second meanwhile. The command ends with the launcher, however that ends.
int runCommand(const std::vector<std::string>& command, const Environment& environment,
               const std::function<void()>& idle);

}  // namespace zansim
