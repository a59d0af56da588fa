#include "machine/shared_state.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zansim {

namespace {

class File {
 public:
  explicit File(int descriptor) : descriptor_(descriptor) {}
  ~File() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int descriptor() const { return descriptor_; }
  bool isOpen() const { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

[[noreturn]] void fail(const std::string& path) {
  throw std::runtime_error(fmt::format("{}: {}", path, std::strerror(errno)));
}

MachineState* map(int descriptor, int flags, const std::string& path) {
  void* const memory =
      mmap(nullptr, sizeof(MachineState), PROT_READ | PROT_WRITE, flags, descriptor, 0);
  if (memory == MAP_FAILED) fail(path);
  return static_cast<MachineState*>(memory);
}

// Written whole under another name and then linked, so that nobody ever sees a part of it; when
// another run was faster, its state stands.
void create(const std::string& path, Time origin) {
  std::string draft = path + ".XXXXXX";
  const File file(mkostemp(draft.data(), O_CLOEXEC));
  if (!file.isOpen()) fail(draft);
  // Runs of other users share the machine.
  const bool sized = fchmod(file.descriptor(), 0666) == 0 &&
                     ftruncate(file.descriptor(), sizeof(MachineState)) == 0;
  if (sized) {
    MachineState* const state = map(file.descriptor(), MAP_SHARED, draft);
    state->magic = kStateMagic;
    state->origin = origin;
    state->virtualNow = origin;
    munmap(state, sizeof(MachineState));
  }
  const bool linked = sized && (link(draft.c_str(), path.c_str()) == 0 || errno == EEXIST);
  const int error = errno;
  unlink(draft.c_str());
  errno = error;
  if (!linked) fail(path);
}

}  // namespace

SharedState::SharedState(Time origin) : state_(map(-1, MAP_PRIVATE | MAP_ANONYMOUS, "memory")) {
  state_->origin = origin;
  state_->virtualNow = origin;
}

SharedState::SharedState(const std::string& directory, Time origin) {
  const std::string path = directory + "/" + kStateFileName;
  if (access(path.c_str(), F_OK) != 0) create(path, origin);
  const File file(open(path.c_str(), O_RDWR | O_CLOEXEC));
  if (!file.isOpen()) fail(path);
  struct stat status = {};
  if (fstat(file.descriptor(), &status) != 0) fail(path);
  if (status.st_size != sizeof(MachineState)) {
    throw std::runtime_error(path + ": not the state of a simulated machine");
  }
  state_ = map(file.descriptor(), MAP_SHARED, path);
  if (state_->magic != kStateMagic) {
    munmap(state_, sizeof(MachineState));
    throw std::runtime_error(path + ": not the state of a simulated machine");
  }
}

SharedState::~SharedState() { munmap(state_, sizeof(MachineState)); }

}  // namespace zansim
