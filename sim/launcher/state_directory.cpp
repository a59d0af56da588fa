#include "launcher/state_directory.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>

#include <unistd.h>

namespace zansim {

namespace fs = std::filesystem;

namespace {

std::string temporaryDirectory() {
  std::string path = fs::temp_directory_path() / "zansim-XXXXXX";
  if (mkdtemp(path.data()) == nullptr) {
    throw std::runtime_error(fmt::format("{}: {}", path, std::strerror(errno)));
  }
  return path;
}

// Files that are there already keep their place: another run may be reading the directory.
void furnishDevices(const fs::path& directory, const Host& host) {
  if (host.driverNodes == DriverNodes::unreadable) {
    fs::remove_all(directory);
    return;
  }
  fs::create_directories(directory);
  std::set<std::string> wanted{"full", "null", "tty", "zero"};
  if (host.driverNodes == DriverNodes::present) {
    wanted.insert("zanthectl");
    for (std::size_t i = 0; i < host.gpus.size(); ++i) wanted.insert(fmt::format("zanthe{}", i));
  }
  std::set<fs::path> stale;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    if (wanted.erase(entry.path().filename()) == 0) stale.insert(entry.path());
  }
  for (const fs::path& path : stale) fs::remove(path);
  for (const std::string& name : wanted) {
    if (!std::ofstream(directory / name)) {
      throw std::runtime_error((directory / name).string() + ": cannot be created");
    }
  }
}

void furnishNumaNodes(const fs::path& file, const Host& host) {
  const std::size_t last = host.numaNodes.size() - 1;
  const fs::path draft = fmt::format("{}.{}", file.string(), getpid());
  std::ofstream(draft) << (last == 0 ? "0\n" : fmt::format("0-{}\n", last));
  fs::rename(draft, file);
}

}  // namespace

StateDirectory::StateDirectory(const std::string& path)
    : path_(path.empty() ? temporaryDirectory() : fs::absolute(path).lexically_normal().string()),
      temporary_(path.empty()) {
  while (path_.size() > 1 && path_.back() == '/') path_.pop_back();
  fs::create_directories(path_);
}

StateDirectory::~StateDirectory() {
  std::error_code ignored;
  if (temporary_) {
    fs::remove_all(path_, ignored);
  } else {
    fs::remove(processTable(), ignored);
  }
}

std::string StateDirectory::processTable() const {
  return fmt::format("{}/processes.{}", path_, getpid());
}

void StateDirectory::furnish(const Host& host) const {
  const fs::path directory(path_);
  fs::create_directories(directory / "run");
  // The directory of the logs themselves is the daemon's to make.
  fs::create_directories(directory / "log");
  furnishDevices(directory / "dev", host);
  furnishNumaNodes(directory / "node_online", host);
}

std::string describeState(const SharedState& state) {
  std::string text = fmt::format("resets {}\n", state->resetCount.load());
  for (unsigned gpu = 0; gpu < kStateGpus; ++gpu) {
    const GpuState& changed = state->gpus[gpu];
    const std::uint64_t mask = changed.ceMask;
    if (changed.resetStatus == 0 && changed.resets == 0 && mask == 0) continue;
    fmt::format_to(std::back_inserter(text), "gpu{} reset_status {} resets {}", gpu,
                   changed.resetStatus.load(), changed.resets.load());
    if (mask != 0) fmt::format_to(std::back_inserter(text), " ce_mask {:#x}", mask & ~kCeMaskIsSet);
    text += '\n';
  }
  return text;
}

}  // namespace zansim
