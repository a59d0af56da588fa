#include "machine/process_table.h"

#include <fmt/format.h>

#include <cstdlib>
#include <fstream>

namespace zansim {

std::string processTableText(const ProcessTable& table) {
  std::string text;
  for (const auto& [key, pids] : table) {
    text += fmt::format("{:x} {}\n", key, fmt::join(pids, " "));
  }
  return text;
}

ProcessTable readProcessTable(const std::string& path) {
  ProcessTable table;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    char* at = line.data();
    std::vector<unsigned>& pids = table[std::strtoull(at, &at, 16)];
    while (*at == ' ') pids.push_back(static_cast<unsigned>(std::strtoul(at, &at, 10)));
  }
  return table;
}

}  // namespace zansim
