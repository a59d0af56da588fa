#include "launcher/state_directory.h"

#include "description/settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include <fcntl.h>
#include <fnmatch.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zansim {

namespace fs = std::filesystem;

namespace {

constexpr char kTemporaryName[] = "zansim-XXXXXX";
constexpr char kTemporaryPattern[] =
    "zansim-[0-9A-Za-z][0-9A-Za-z][0-9A-Za-z]"
    "[0-9A-Za-z][0-9A-Za-z][0-9A-Za-z]";
constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kOthersMayWrite = S_IWGRP | S_IWOTH;

bool isOwn(int directory) {
  struct stat status = {};
  // Within a machine the C library's function tells the user that the machine shows.
  const auto user = static_cast<uid_t>(syscall(SYS_geteuid));
  return fstat(directory, &status) == 0 && status.st_uid == user &&
         (status.st_mode & kOthersMayWrite) == 0;
}

std::set<std::string> namesIn(int directory) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(fmt::format("/proc/self/fd/{}", directory))) {
    names.insert(entry.path().filename());
  }
  return names;
}

// Directories of runs that came to a sudden end. A run holds the lock on its own to its end.
void sweepTemporaryDirectories() {
  std::error_code ignored;
  for (const fs::directory_entry& entry :
       fs::directory_iterator(fs::temp_directory_path(), ignored)) {
    const std::string name = entry.path().filename();
    if (fnmatch(kTemporaryPattern, name.c_str(), 0) != 0) continue;
    const Descriptor directory(open(entry.path().c_str(), kDirectoryFlags | O_NOFOLLOW));
    if (directory.number() >= 0 && isOwn(directory.number()) &&
        flock(directory.number(), LOCK_EX | LOCK_NB) == 0 && holdsState(directory.number())) {
      fs::remove_all(entry.path(), ignored);
    }
  }
}

std::string makeTemporaryDirectory() {
  sweepTemporaryDirectories();
  std::string path = fs::temp_directory_path() / kTemporaryName;
  if (mkdtemp(path.data()) == nullptr) throwSystemError(path);
  return path;
}

std::string makeDirectory(const std::string& wanted) {
  fs::path path = fs::absolute(wanted).lexically_normal();
  if (!path.has_filename()) path = path.parent_path();
  fs::create_directories(path.parent_path());
  if (mkdir(path.c_str(), kDirectoryMode) != 0 && errno != EEXIST) throwSystemError(path);
  return fs::canonical(path);
}

// A lock that another user holds must not keep a run waiting for ever.
void lock(int directory, const std::string& path) {
  constexpr int kTries = 1000;
  constexpr useconds_t kPause = 10'000;
  for (int i = 0; flock(directory, LOCK_EX | LOCK_NB) != 0; ++i) {
    if (errno != EWOULDBLOCK || i == kTries) throwSystemError(path);
    usleep(kPause);
  }
}

void expectOwn(int directory, const std::string& path) {
  if (!isOwn(directory)) {
    throw std::runtime_error(path + ": another user owns this directory or can write to it");
  }
  if (holdsState(directory)) return;
  std::set<std::string> names = namesIn(directory);
  if (holdsUnfinishedState(directory)) names.erase(kStateDraftName);
  if (!names.empty()) {
    throw std::runtime_error(path + ": neither empty nor the state of a simulated machine");
  }
}

// A directory below another one.
Descriptor openOwn(int parent, const std::string& parentPath, const char* name) {
  const std::string path = parentPath + "/" + name;
  if (mkdirat(parent, name, kDirectoryMode) != 0 && errno != EEXIST) throwSystemError(path);
  return {openat(parent, name, kDirectoryFlags | O_NOFOLLOW), path};
}

void writeFile(int directory, const std::string& path, const std::string& name,
               const std::string& text) {
  const std::string draft = fmt::format("{}.{}.new", name, getpid());
  unlinkat(directory, draft.c_str(), 0);
  const Descriptor file(
      openat(directory, draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644),
      path + "/" + name);
  const ssize_t written = write(file.number(), text.data(), text.size());
  if (written != static_cast<ssize_t>(text.size()) ||
      renameat(directory, draft.c_str(), directory, name.c_str()) != 0) {
    throwSystemError(path + "/" + name);
  }
}

std::string settingsIn(const std::string& directory) {
  std::ifstream file(directory + "/" + kSettingsFileName);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool isDeviceName(const std::string& name) {
  constexpr std::array kPatterns{"full", "null", "tty", "zero", "zanthectl", "zanthe[0-9]*"};
  return std::any_of(kPatterns.begin(), kPatterns.end(),
                     [&](const char* pattern) { return fnmatch(pattern, name.c_str(), 0) == 0; });
}

std::set<std::string> deviceNames(const Host& host) {
  if (host.driverNodes == DriverNodes::unreadable) return {};
  std::set<std::string> names{"full", "null", "tty", "zero"};
  if (host.driverNodes == DriverNodes::missing) return names;
  names.insert("zanthectl");
  for (std::size_t i = 0; i < host.gpus.size(); ++i) names.insert(fmt::format("zanthe{}", i));
  return names;
}

// Files that are there already keep their place: another run may be reading the directory.
void furnishDevices(int state, const std::string& path, const Host& host) {
  const Descriptor devices = openOwn(state, path, "dev");
  const std::set<std::string> wanted = deviceNames(host);
  for (const std::string& name : namesIn(devices.number())) {
    if (isDeviceName(name) && !wanted.contains(name)) unlinkat(devices.number(), name.c_str(), 0);
  }
  for (const std::string& name : wanted) {
    const Descriptor node(openat(devices.number(), name.c_str(),
                                 O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644),
                          fmt::format("{}/dev/{}", path, name));
  }
  if (wanted.empty() && unlinkat(state, "dev", AT_REMOVEDIR) != 0) throwSystemError(path + "/dev");
}

}  // namespace

StateDirectory::StateDirectory(const std::string& path, Time origin)
    : temporary_(path.empty()),
      path_(temporary_ ? makeTemporaryDirectory() : makeDirectory(path)),
      directory_(open(path_.c_str(), kDirectoryFlags | O_NOFOLLOW), path_) {
  lock(directory_.number(), path_);
  expectOwn(directory_.number(), path_);
  if (!holdsState(directory_.number())) createState(directory_.number(), origin);
}

StateDirectory::~StateDirectory() {
  std::error_code ignored;
  if (temporary_) {
    fs::remove_all(path_, ignored);
  } else {
    unlinkat(directory_.number(), processTableName().c_str(), 0);
  }
}

std::string StateDirectory::processTableName() { return fmt::format("processes.{}", getpid()); }

void StateDirectory::writeProcessTable(const std::string& table) const {
  writeFile(directory_.number(), path_, processTableName(), table);
}

std::size_t StateDirectory::gpuNodes() const {
  const Descriptor devices(openat(directory_.number(), "dev", kDirectoryFlags | O_NOFOLLOW));
  if (devices.number() < 0) return 0;
  const std::set<std::string> names = namesIn(devices.number());
  return static_cast<std::size_t>(std::count_if(
      names.begin(), names.end(),
      [](const std::string& name) { return fnmatch("zanthe[0-9]*", name.c_str(), 0) == 0; }));
}

void StateDirectory::addSettings(const std::vector<std::string>& settings) const {
  if (settings.empty()) return;
  std::string lines = settingsIn(path_);
  for (const std::string& setting : settings) lines = addSetting(lines, setting);
  writeFile(directory_.number(), path_, kSettingsFileName, lines);
}

void StateDirectory::furnish(const Host& host) const {
  const int state = directory_.number();
  openOwn(state, path_, "run");
  // The directory of the logs themselves is the daemon's to make.
  openOwn(state, path_, "log");
  furnishDevices(state, path_, host);
  const std::size_t last = host.numaNodes.size() - 1;
  writeFile(state, path_, "node_online", last == 0 ? "0\n" : fmt::format("0-{}\n", last));
  // The lock on a temporary directory tells that its run is alive.
  if (!temporary_) flock(state, LOCK_UN);
}

std::string describeState(const std::string& directory) {
  const SharedState state(directory);
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
  for (const std::string& line : linesOf(settingsIn(directory))) text += "set " + line + "\n";
  return text;
}

}  // namespace zansim
