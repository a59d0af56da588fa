#include "control/reset.h"

#include "control/device_walk.h"
#include "control/reset_marker.h"
#include "device/controller.h"

#include <ostream>
#include <string_view>

#include <signal.h>
#include <unistd.h>

namespace zanctl {
namespace {

constexpr const char* kConcurrent =
    "The reset command cannot be executed at the same time, Please try again later.\n";
constexpr std::string_view kContainerAdvice =
    "\nYou might also meet this issue when using zanctl inside a container. Please add "
    "'--pid=host' when starting the container, or use the zanctl out of the container when "
    "performing the reset.";

extern "C" void refuseTermination(int /*signal*/) {
  constexpr std::string_view kNotice = "This command cannot be terminated, please wait...\n";
  [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, kNotice.data(), kNotice.size());
}

// A reset cut short leaves the cards unusable, so whatever can be sent is refused or ignored. A
// crash still ends the process: neither the kernel nor abort() lets it be ignored.
void makeUninterruptible() {
  for (int number = 1; number <= SIGRTMAX; ++number) {
    if (number != SIGCHLD) signal(number, SIG_IGN);
  }
  for (const int refused : {SIGQUIT, SIGINT, SIGTERM}) signal(refused, refuseTermination);
}

DeviceAction resetAction() {
  return {
      .apply = [] { return controller().resetDevice(); },
      .title = "GPU Reset",
      .success = " was successfully reset.",
      .failure = " was failed to reset with error ",
      .summary = "reset",
      .advice = kContainerAdvice,
      .unreadable = "GPU Reset failed because system can not get current GPU pci bus info.",
  };
}

}  // namespace

int resetGpus(const ResetOptions& options, std::ostream& out) {
  if (checkPermissions(options.selection, "reset", out) != 0) return -1;
  const std::uint32_t count = session().deviceCount;
  const std::uint32_t startupCount = options.startupDeviceCount;
  if (count == 0 || (startupCount != 0 && startupCount != count)) {
    out << kConcurrent;
    return -1;
  }
  makeUninterruptible();
  auto marker = ResetMarker::take();
  if (!marker) {
    out << kConcurrent;
    return -1;
  }
  const DeviceAction action = resetAction();
  WalkCounts counts;
  if (!walkDevices(options.selection, action, counts, out)) return -1;
  marker->releaseWithRestart();
  return reportCounts(counts, action, out);
}

}  // namespace zanctl
