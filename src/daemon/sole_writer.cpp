#include "daemon/sole_writer.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zanctl {
namespace {

constexpr mode_t kMode = 0644;
constexpr int kOpenAttempts = 10;

// Whether the file belongs to whom everything belongs that this process creates, such as a pipe.
bool isOwned(const struct stat& status) {
  std::array<int, 2> ends{-1, -1};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
  const Descriptor reading(ends[0]);
  const Descriptor writing(ends[1]);
  struct stat own {};
  return fstat(reading.number(), &own) == 0 && own.st_uid == status.st_uid;
}

bool isOwnFile(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_nlink <= 1 && isOwned(status);
}

bool standsUnder(const std::string& name, const struct stat& status) {
  struct stat named {};
  return lstat(name.c_str(), &named) == 0 && named.st_dev == status.st_dev &&
         named.st_ino == status.st_ino;
}

// Renames unless something has the new name.
int renameToFree(const std::string& from, const std::string& to) {
  const int result = renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
  if (result == 0 || errno != EINVAL) return result;
  // A file system that cannot do both at once.
  struct stat taken {};
  if (lstat(to.c_str(), &taken) == 0) {
    errno = EEXIST;
    return -1;
  }
  return rename(from.c_str(), to.c_str());
}

}  // namespace

FileOpening openToWriteAlone(const std::string& name, Descriptor& file) {
  // Another process may set the file aside before it can be locked.
  for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
    // Not blocking, so that a pipe of that name does not hold the daemon up.
    constexpr int kFlags = O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    file = Descriptor(open(name.c_str(), kFlags, kMode));
    struct stat status {};
    if (!file.isOpen() || fstat(file.number(), &status) != 0 || !isOwnFile(status)) break;
    if (!mayWrite(file)) return FileOpening::inUse;
    if (standsUnder(name, status)) return FileOpening::opened;
  }
  return FileOpening::refused;
}

bool mayWrite(const Descriptor& file) {
  // Of the open file, since one of the process would end before its child has written.
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  if (fcntl(file.number(), F_OFD_SETLK, &lock) == 0) return true;
  // Whoever can read the file can lock it too, but not for writing, and some file systems have no
  // locks.
  return fcntl(file.number(), F_OFD_GETLK, &lock) != 0 || lock.l_type != F_WRLCK;
}

bool setAside(const std::string& name) {
  std::string newName = name + ".invalid";
  for (int number = 2; renameToFree(name, newName) != 0; ++number) {
    if (errno != EEXIST) return false;
    newName = fmt::format("{}.invalid.{}", name, number);
  }
  return true;
}

}  // namespace zanctl
