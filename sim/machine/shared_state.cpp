#include "machine/shared_state.h"

#include "machine/descriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zansim {

namespace {

MachineState* map(int file, int flags, const std::string& path) {
  void* const memory = mmap(nullptr, sizeof(MachineState), PROT_READ | PROT_WRITE, flags, file, 0);
  if (memory == MAP_FAILED) throwSystemError(path);
  return static_cast<MachineState*>(memory);
}

Descriptor openState(int directory, const std::string& path) {
  return Descriptor(openat(directory, path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

bool isState(const Descriptor& file) {
  struct stat status = {};
  std::uint64_t magic = 0;
  return fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) &&
         status.st_size == sizeof(MachineState) &&
         pread(file.number(), &magic, sizeof magic, 0) == sizeof magic && magic == kStateMagic;
}

}  // namespace

SharedState::SharedState(Time origin) : state_(map(-1, MAP_PRIVATE | MAP_ANONYMOUS, "memory")) {
  state_->origin = origin;
  state_->virtualNow = origin;
}

SharedState::SharedState(const std::string& directory) {
  const std::string path = directory + "/" + kStateFileName;
  const Descriptor file = openState(AT_FDCWD, path);
  if (file.number() < 0 && errno == ENOENT) {
    throw std::runtime_error(directory + ": no machine has its state here");
  }
  if (file.number() < 0) throwSystemError(path);
  if (!isState(file)) throw std::runtime_error(path + ": not the state of a simulated machine");
  state_ = map(file.number(), MAP_SHARED, path);
}

SharedState::~SharedState() { munmap(state_, sizeof(MachineState)); }

bool holdsState(int directory) {
  const Descriptor file = openState(directory, kStateFileName);
  return file.number() >= 0 && isState(file);
}

bool holdsUnfinishedState(int directory) {
  const Descriptor file = openState(directory, kStateDraftName);
  struct stat status = {};
  std::uint64_t magic = 0;
  if (fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  return status.st_size <= static_cast<off_t>(sizeof(MachineState)) &&
         pread(file.number(), &magic, sizeof magic, 0) >= 0 && (magic == 0 || magic == kStateMagic);
}

void createState(int directory, const std::string& path, Time origin) {
  const std::string name = path + "/" + kStateFileName;
  // Under its name it is always whole.
  unlinkat(directory, kStateDraftName, 0);
  const Descriptor file(
      openat(directory, kStateDraftName, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644),
      name);
  // A hole that finds no room on the disk would end whoever writes into it.
  if (const int error = posix_fallocate(file.number(), 0, sizeof(MachineState)); error != 0) {
    unlinkat(directory, kStateDraftName, 0);
    errno = error;
    throwSystemError(name);
  }
  MachineState* const state = map(file.number(), MAP_SHARED, name);
  state->magic = kStateMagic;
  state->origin = origin;
  state->virtualNow = origin;
  munmap(state, sizeof(MachineState));
  if (renameat(directory, kStateDraftName, directory, kStateFileName) != 0) {
    throwSystemError(name);
  }
}

}  // namespace zansim
