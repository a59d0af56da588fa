#include "launcher/state_directory.h"

#include "description/settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
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
// Tells a temporary directory from one that is kept, by the directory's number also from a copy.
constexpr char kTemporaryMark[] = "temporary";
constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kOthersMayWrite = S_IWGRP | S_IWOTH;

struct stat statusOf(int directory) {
  struct stat status = {};
  if (fstat(directory, &status) != 0) throwSystemError("fstat");
  return status;
}

bool isOwn(int directory) {
  // Within a machine the C library's function tells the user that the machine shows.
  const auto user = static_cast<uid_t>(syscall(SYS_geteuid));
  const struct stat status = statusOf(directory);
  return status.st_uid == user && (status.st_mode & kOthersMayWrite) == 0;
}

std::string markText(int directory) { return fmt::format("{}\n", statusOf(directory).st_ino); }

std::set<std::string> namesIn(int directory) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(fmt::format("/proc/self/fd/{}", directory))) {
    names.insert(entry.path().filename());
  }
  return names;
}

// The lock on the mark tells that the run is alive.
Descriptor createMark(int directory, const std::string& path) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  const std::string text = markText(directory);
  Descriptor mark(openat(directory, kTemporaryMark, kFlags, 0600));
  // Another run may be looking at it.
  if (mark.number() < 0 || flock(mark.number(), LOCK_EX) != 0 ||
      write(mark.number(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    const int error = errno;
    // Nobody else would.
    unlinkat(directory, kTemporaryMark, 0);
    rmdir(path.c_str());
    errno = error;
    throwSystemError(path);
  }
  return mark;
}

bool isMarkOfDead(int mark, int directory) {
  std::array<char, 32> text{};  // and zero bytes behind it
  return pread(mark, text.data(), text.size() - 1, 0) > 0 && markText(directory) == text.data() &&
         flock(mark, LOCK_EX | LOCK_NB) == 0;
}

// Follows no link and enters no other file system.
void removeBelow(int directory, dev_t device, std::string_view spared) {
  for (const std::string& name : namesIn(directory)) {
    if (name == spared || unlinkat(directory, name.c_str(), 0) == 0 || errno != EISDIR) continue;
    const Descriptor below(openat(directory, name.c_str(), kDirectoryFlags | O_NOFOLLOW));
    if (below.number() < 0 || statusOf(below.number()).st_dev != device) continue;
    removeBelow(below.number(), device, "");
    unlinkat(directory, name.c_str(), AT_REMOVEDIR);
  }
}

// The mark goes last, so that another run can do what this one does not come to.
void removeTemporary(int directory, const std::string& path) {
  try {
    removeBelow(directory, statusOf(directory).st_dev, kTemporaryMark);
  } catch (const fs::filesystem_error&) {
    return;
  }
  unlinkat(directory, kTemporaryMark, 0);
  rmdir(path.c_str());
}

// Directories of runs that came to a sudden end.
void sweepTemporaryDirectories() {
  std::error_code ignored;
  for (const fs::directory_entry& entry :
       fs::directory_iterator(fs::temp_directory_path(), ignored)) {
    const std::string name = entry.path().filename();
    if (fnmatch(kTemporaryPattern, name.c_str(), 0) != 0) continue;
    const Descriptor directory(open(entry.path().c_str(), kDirectoryFlags | O_NOFOLLOW));
    if (directory.number() < 0 || !isOwn(directory.number())) continue;
    const Descriptor mark(
        openat(directory.number(), kTemporaryMark, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (mark.number() >= 0 && isMarkOfDead(mark.number(), directory.number())) {
      removeTemporary(directory.number(), entry.path());
    }
  }
}

// Nobody else may put another directory in its place while a program runs in it.
void expectInPlace(const fs::path& path) {
  for (fs::path above = path.parent_path();; above = above.parent_path()) {
    struct stat status = {};
    if (stat(above.c_str(), &status) == 0 && (status.st_mode & (S_IWOTH | S_ISVTX)) == S_IWOTH) {
      throw std::runtime_error(
          fmt::format("{}: anybody can rename what is in {}", path.string(), above.string()));
    }
    if (!above.has_relative_path()) return;
  }
}

std::string makeTemporaryDirectory() {
  sweepTemporaryDirectories();
  std::string path = fs::canonical(fs::temp_directory_path()) / kTemporaryName;
  expectInPlace(path);
  if (mkdtemp(path.data()) == nullptr) throwSystemError(path);
  return path;
}

std::string makeDirectory(const std::string& wanted) {
  fs::path path = fs::absolute(wanted).lexically_normal();
  if (!path.has_filename()) path = path.parent_path();
  expectInPlace(fs::weakly_canonical(path));
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
    const int error = errno;
    unlinkat(directory, draft.c_str(), 0);
    errno = error;
    throwSystemError(path + "/" + name);
  }
}

std::string settingsIn(int directory) {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const Descriptor file(openat(directory, kSettingsFileName, kFlags));
  std::string text;
  std::array<char, 4096> block{};
  for (ssize_t size = 0; (size = read(file.number(), block.data(), block.size())) > 0;) {
    text.append(block.data(), static_cast<std::size_t>(size));
  }
  return text;
}

bool isDeviceName(const std::string& name) {
  constexpr std::array<std::string_view, 5> kNames{"full", "null", "tty", "zero", "zanthectl"};
  constexpr std::string_view kGpu = "zanthe";
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end() ||
         (name.starts_with(kGpu) && name.size() > kGpu.size() &&
          name.find_first_not_of("0123456789", kGpu.size()) == std::string::npos);
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
    : path_(path.empty() ? makeTemporaryDirectory() : makeDirectory(path)),
      directory_(open(path_.c_str(), kDirectoryFlags | O_NOFOLLOW), path_) {
  lock(directory_.number(), path_);
  expectOwn(directory_.number(), path_);
  if (path.empty()) mark_.emplace(createMark(directory_.number(), path_));
  if (!holdsState(directory_.number())) createState(directory_.number(), path_, origin);
}

StateDirectory::~StateDirectory() {
  if (mark_) {
    removeTemporary(directory_.number(), path_);
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
  std::string lines = settingsIn(directory_.number());
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
  flock(state, LOCK_UN);
}

std::string describeState(const std::string& path) {
  const SharedState state(path);
  const Descriptor directory(open(path.c_str(), kDirectoryFlags), path);
  expectOwn(directory.number(), path);
  std::string text = fmt::format("resets {}\n", state->resetCount.load());
  for (unsigned gpu = 0; gpu < kStateGpus; ++gpu) {
    const GpuState& changed = state->gpus[gpu];
    const std::uint64_t mask = changed.ceMask;
    if (changed.resetStatus == 0 && changed.resets == 0 && mask == 0) continue;
    text += fmt::format("gpu{} reset_status {} resets {}", gpu, changed.resetStatus.load(),
                        changed.resets.load());
    if (mask != 0) text += fmt::format(" ce_mask {:#x}", mask & ~kCeMaskIsSet);
    text += '\n';
  }
  for (const std::string& line : linesOf(settingsIn(directory.number())))
    text += "set " + line + "\n";
  return text;
}

}  // namespace zansim
