#include "launcher/layout.h"

#include "description/node.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace zansim {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kHostSuffix = ".json";

}  // namespace

Layout findLayout() {
  const fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
  const fs::path libraries = (programs / ZANSIM_LIBRARIES_FROM_PROGRAMS).lexically_normal();
  const fs::path data = (programs / ZANSIM_DATA_FROM_PROGRAMS).lexically_normal();
  return {.programs = programs,
          .libraries = libraries,
          .preload = libraries / "libzansim_preload.so",
          .process = libraries / "zansim-process",
          .hosts = data / "hosts",
          .example = data / "example.json"};
}

std::vector<std::string> hostNames(const Layout& layout) {
  std::vector<std::string> names;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(layout.hosts, error)) {
    if (entry.path().extension() == kHostSuffix) names.push_back(entry.path().stem());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string findHost(const Layout& layout, const std::string& nameOrFile) {
  const bool isFile = nameOrFile.find('/') != std::string::npos ||
                      nameOrFile.ends_with(kHostSuffix) || fs::is_regular_file(nameOrFile);
  if (isFile) return nameOrFile;
  const fs::path host = fs::path(layout.hosts) / (nameOrFile + std::string(kHostSuffix));
  if (fs::exists(host)) return host;
  const std::vector<std::string> names = hostNames(layout);
  const std::vector<std::string_view> known(names.begin(), names.end());
  const std::string hint = suggestion(nameOrFile, known);
  throw std::runtime_error(
      fmt::format("there is no host \"{}\"{}", nameOrFile,
                  hint.empty() ? fmt::format("; there are {}", fmt::join(names, ", ")) : hint));
}

}  // namespace zansim
