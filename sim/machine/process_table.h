// The process ids that the launcher found for the described processes. The launcher writes them
// to a file, and the library reads them there.
#pragma once

#include "description/host.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace zansim {

// By ProcessEntry::key.
using ProcessTable = std::map<std::uint64_t, std::vector<unsigned>>;

std::string processTableText(const ProcessTable& table);

// Empty when there is no such file.
ProcessTable readProcessTable(const std::string& path);

}  // namespace zansim
