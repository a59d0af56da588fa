#include "launcher/library_copy.h"

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <unistd.h>

namespace zansim {

namespace fs = std::filesystem;

namespace {

// The loader finds a symbol by its hash and then compares the name, so a name that is spelled
// differently in the string table is never found.
void hideName(std::string& image, std::string_view name) {
  const std::string stored = '\0' + std::string(name) + '\0';
  for (std::size_t at = image.find(stored); at != std::string::npos;
       at = image.find(stored, at + 1)) {
    image[at + 1] = '-';
  }
}

}  // namespace

std::string makeLibraryWithout(const std::string& library, const OperationSet& missing,
                               const std::string& state) {
  std::ifstream file(library, std::ios::binary);
  std::string image(std::istreambuf_iterator<char>(file), {});
  if (!file || image.empty()) throw std::runtime_error(library + ": cannot be read");
  for (std::size_t i = 0; i < kOperationCount; ++i) {
    if (missing.test(i)) hideName(image, kOperationNames[i]);
  }
  // A directory for each set, so that runs with other hosts on the same state keep theirs.
  const fs::path directory =
      fs::path(state) / fmt::format("lib-{:x}", std::hash<OperationSet>()(missing));
  fs::create_directories(directory);
  const fs::path target = directory / "libzanml.so";
  const fs::path draft = fmt::format("{}.{}", target.string(), getpid());
  std::ofstream copy(draft, std::ios::binary);
  copy << image;
  copy.close();
  if (!copy) throw std::runtime_error(draft.string() + ": cannot be written");
  fs::rename(draft, target);
  return directory;
}

}  // namespace zansim
