#include "launcher/library_copy.h"

#include <fmt/format.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <elf.h>
#include <unistd.h>

namespace zansim {

namespace fs = std::filesystem;

namespace {

template <typename Structure>
Structure structureAt(const std::string& image, std::size_t offset) {
  Structure structure;
  if (offset + sizeof structure > image.size()) throw std::runtime_error("not a shared library");
  std::memcpy(&structure, image.data() + offset, sizeof structure);
  return structure;
}

// The table of the names by which the loader finds symbols.
Elf64_Shdr symbolNames(const std::string& image) {
  const auto header = structureAt<Elf64_Ehdr>(image, 0);
  const auto section = [&](std::size_t index) {
    return structureAt<Elf64_Shdr>(image, header.e_shoff + index * sizeof(Elf64_Shdr));
  };
  for (std::size_t i = 0; i < header.e_shnum; ++i) {
    const Elf64_Shdr symbols = section(i);
    if (symbols.sh_type == SHT_DYNSYM) return section(symbols.sh_link);
  }
  throw std::runtime_error("not a shared library");
}

// The loader finds a symbol by its hash and then compares the name, so a name that is spelled
// differently in the table is never found.
void hideName(std::string& image, const Elf64_Shdr& names, std::string_view name) {
  const std::string stored = '\0' + std::string(name) + '\0';
  const std::size_t at = image.find(stored, names.sh_offset);
  if (at < names.sh_offset + names.sh_size) image[at + 1] = '-';
}

}  // namespace

std::string makeLibraryWithout(const std::string& library, const OperationSet& missing,
                               const std::string& state) {
  std::ifstream file(library, std::ios::binary);
  std::string image(std::istreambuf_iterator<char>(file), {});
  if (!file || image.empty()) throw std::runtime_error(library + ": cannot be read");
  const Elf64_Shdr names = symbolNames(image);
  for (std::size_t i = 0; i < kOperationCount; ++i) {
    if (missing.test(i)) hideName(image, names, kOperationNames[i]);
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
