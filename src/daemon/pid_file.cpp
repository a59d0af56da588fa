#include "daemon/pid_file.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zanctl {
namespace {

// Where a new pid file is made ready, before it takes the place of one that a reader has locked.
constexpr const char* kNewPidFile = "/var/run/zanctl_daemon.pid.new";

constexpr mode_t kPidFileMode = 0644;
constexpr mode_t kOwnerOnly = 0600;
constexpr std::size_t kContentSize = 16;

constexpr int kAttempts = 100;
constexpr useconds_t kPauseMicroseconds = 10'000;

struct flock wholeFile(short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return lock;
}

bool setLock(const Descriptor& file, short type) {
  const struct flock lock = wholeFile(type);
  return fcntl(file.number(), F_SETLK, &lock) == 0;
}

// The lock of another process that keeps this one from writing; of type F_UNLCK where none does.
struct flock obstacle(const Descriptor& file) {
  struct flock lock = wholeFile(F_WRLCK);
  if (fcntl(file.number(), F_GETLK, &lock) != 0) lock.l_type = F_UNLCK;
  return lock;
}

bool standsUnder(const char* name, const Descriptor& file) {
  struct stat named {};
  struct stat opened {};
  return stat(name, &named) == 0 && fstat(file.number(), &opened) == 0 &&
         named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

}  // namespace

PidFile::PidFile()
    : file_(::open(kPidFile, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kPidFileMode)) {}

PidFile::Lock PidFile::lock() {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (attempt > 0) {
      usleep(kPauseMicroseconds);
      *this = PidFile();
      if (!isOpen()) return Lock::failed;
    }
    if (setLock(file_, F_WRLCK)) {
      if (standsUnder(kPidFile, file_)) return Lock::taken;
      continue;
    }
    if (errno != EACCES && errno != EAGAIN) return Lock::failed;
    const short type = obstacle(file_).l_type;
    if (type == F_WRLCK) return Lock::heldByAnother;
    if (type == F_RDLCK && replace()) return Lock::taken;
  }
  return Lock::heldByReader;
}

// Puts a new file with a lock in the place of one that others can read and therefore have locked.
// A read lock of our own keeps every daemon from the old file, and the lock of the new one, which
// nobody but root can open before it stands in its place, every other process that is in here.
bool PidFile::replace() {
  if (!setLock(file_, F_RDLCK)) return false;
  constexpr int kFlags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
  Descriptor fresh(::open(kNewPidFile, kFlags, kOwnerOnly));
  if (!fresh.isOpen() || !setLock(fresh, F_WRLCK)) return false;
  if (!standsUnder(kNewPidFile, fresh)) return false;
  if (!standsUnder(kPidFile, file_) || rename(kNewPidFile, kPidFile) != 0) {
    unlink(kNewPidFile);
    return false;
  }
  file_ = std::move(fresh);
  return fchmod(file_.number(), kPidFileMode) == 0;
}

std::optional<pid_t> PidFile::holder() const {
  const struct flock lock = obstacle(file_);
  return lock.l_type == F_WRLCK ? std::optional(lock.l_pid) : std::nullopt;
}

bool PidFile::writePid(pid_t pid) {
  // With the zero byte at the end of its text.
  const std::string text = fmt::format("{}", pid) + '\0';
  return ftruncate(file_.number(), 0) == 0 &&
         ::write(file_.number(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

std::string PidFile::read() const {
  std::array<char, kContentSize> content{};
  const ssize_t count = pread(file_.number(), content.data(), content.size(), 0);
  return {content.data(), count < 0 ? 0 : static_cast<std::size_t>(count)};
}

std::string_view pidText(std::string_view content) { return content.substr(0, content.find('\0')); }

std::optional<pid_t> pidToSignal(std::string_view content) {
  std::string_view text = pidText(content);
  // As much as can be read: there may be more digits.
  if (text.size() == kContentSize) return std::nullopt;
  if (text.ends_with('\n')) text.remove_suffix(1);
  pid_t pid = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), pid);
  const bool isWhole = error == std::errc() && end == text.data() + text.size();
  // 0 and negative numbers stand for groups of processes, and 1 is init.
  return isWhole && pid > 1 ? std::optional(pid) : std::nullopt;
}

}  // namespace zanctl
