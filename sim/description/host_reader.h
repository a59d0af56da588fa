// Reads the description of a machine.
#pragma once

#include "description/host.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zansim {

struct HostReading {
  // Empty when there are problems.
  std::optional<Host> host = {};
  // "FILE:LINE: /place: reason", in the order of the lines.
  std::vector<std::string> problems = {};
};

// `name` is the file's name for the messages.
HostReading readHost(std::string_view json, const std::string& name);

HostReading readHostFile(const std::string& path);

}  // namespace zansim
