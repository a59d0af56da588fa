#include "machine/process_table.h"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace zansim {

void writeProcessTable(const std::string& path, const ProcessTable& table) {
  const std::string draft = path + ".new";
  std::ofstream file(draft);
  for (const auto& [key, pids] : table) {
    file << fmt::format("{:x} {}\n", key, fmt::join(pids, " "));
  }
  file.close();
  if (!file || std::rename(draft.c_str(), path.c_str()) != 0) {
    throw std::runtime_error(path + ": cannot be written");
  }
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
