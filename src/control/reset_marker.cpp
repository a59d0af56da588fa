#include "control/reset_marker.h"

#include "device/controller.h"
#include "device/descriptor.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>

namespace zanctl {
namespace {

// Nobody but root can open it, and so nobody else can hold its lock.
constexpr const char* kLockFile = "/var/run/zanctl_reset.lock";
constexpr mode_t kLockFileMode = 0600;

// Whether another reset is between its look at the marker and its setting. The lock ends with its
// holder, so it never needs to be cleaned up.
bool isLockedByAnother(const Descriptor& file) {
  struct flock whole {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  return file.isOpen() && fcntl(file.number(), F_SETLK, &whole) != 0 &&
         (errno == EACCES || errno == EAGAIN);
}

}  // namespace

std::optional<ResetMarker> ResetMarker::take() {
  const Descriptor file(open(kLockFile, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kLockFileMode));
  if (isLockedByAnother(file)) return std::nullopt;
  const auto status = controller().getResetStatus();
  if (!status || *status == -1 || *status == 1) return std::nullopt;
  controller().setResetStatus(1);
  return ResetMarker();
}

ResetMarker::ResetMarker(ResetMarker&& other) noexcept
    : isSet_(std::exchange(other.isSet_, false)) {}

ResetMarker::~ResetMarker() {
  if (isSet_) controller().setResetStatus(0);
}

void ResetMarker::releaseWithRestart() {
  controller().restartAndClearResetStatus(0);
  isSet_ = false;
}

}  // namespace zanctl
