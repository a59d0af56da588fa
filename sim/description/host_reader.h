// Reads the description of a machine.
#pragma once

#include "description/host.h"
#include "description/node.h"

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

// `name` is the file's name for the messages. Tells which keys the description uses to whoever
// wants to know.
HostReading readHost(std::string_view json, const std::string& name, KeyUse* keyUse = nullptr);

HostReading readHostFile(const std::string& path, KeyUse* keyUse = nullptr);

}  // namespace zansim
