#include "control/reset.h"

#include "control/device_checks.h"
#include "device/controller.h"
#include "device/readers.h"
#include "device/session.h"

#include <fmt/ostream.h>

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

// A reset cut short leaves the cards unusable and the marker set.
void makeUninterruptible() {
  for (const int refused : {SIGQUIT, SIGINT, SIGTERM}) signal(refused, refuseTermination);
  for (const int ignored : {SIGTSTP, SIGHUP, SIGPIPE}) signal(ignored, SIG_IGN);
}

enum class Verdict { goOn, stop };

Verdict resetGpu(std::uint32_t index, ControlCounts& counts, std::ostream& out) {
  const auto gpu = reader().readPciByIndex(index);
  if (!gpu) {
    out << "GPU Reset failed because system can not get current GPU pci bus info.\n";
    return Verdict::stop;
  }
  if (gpu->virtualizationMode == NVML_GPU_VIRTUALIZATION_MODE_VGPU) {
    fmt::print(out, "GPU Reset couldn't run because GPU {}is in vGPU mode.\n", gpuText(*gpu));
    return Verdict::stop;
  }
  if (!isDeviceFree(index, *gpu, out)) {
    ++counts.busy;
    return Verdict::goOn;
  }
  session().currentDevice = index;
  const nvmlReturn_t answer = controller().resetDevice();
  if (answer == NVML_SUCCESS) {
    fmt::print(out, "{} was successfully reset.\n", gpuText(*gpu));
    ++counts.done;
  } else {
    fmt::print(out, "{} was failed to reset with error {} .\n", gpuText(*gpu),
               static_cast<int>(answer));
  }
  out.flush();
  return Verdict::goOn;
}

}  // namespace

int resetGpus(const DeviceSet& selection, std::ostream& out) {
  if (checkPermissions(selection, "reset", out) != 0) return -1;
  const std::uint32_t count = session().deviceCount;
  const std::uint32_t startupCount = controller().startupDeviceCount();
  if (count == 0 || (startupCount != 0 && startupCount != count)) {
    out << kConcurrent;
    return -1;
  }
  makeUninterruptible();
  const std::int32_t status = controller().getResetStatus().value_or(-1);
  if (status == -1 || status == 1) {
    out << kConcurrent;
    return -1;
  }
  controller().setResetStatus(1);
  ControlCounts counts;
  for (std::uint32_t index = 0; index < count; ++index) {
    if (!isSelected(selection, index)) {
      ++counts.done;
    } else if (resetGpu(index, counts, out) == Verdict::stop) {
      controller().setResetStatus(0);
      return -1;
    }
  }
  controller().restartAndClearResetStatus(0);
  return reportCounts(counts, kContainerAdvice, "reset", out);
}

}  // namespace zanctl
