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

// Replaces the file as a whole. Throws std::runtime_error when it cannot be written.
void writeProcessTable(const std::string& path, const ProcessTable& table);

// Empty when there is no such file.
ProcessTable readProcessTable(const std::string& path);

}  // namespace zansim
