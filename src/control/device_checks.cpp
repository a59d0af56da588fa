#include "control/device_checks.h"

#include "device/format.h"
#include "device/readers.h"
#include "device/session.h"

#include <fmt/ostream.h>

#include <algorithm>
#include <ostream>

#include <unistd.h>

namespace zanctl {

std::string gpuText(const PciReading& gpu) { return fmt::format("GPU {} ", busIdText(gpu.pci)); }

std::uint32_t checkPermissions(const DeviceSet& selection, std::string_view action,
                               std::ostream& out) {
  if (geteuid() == 0) return 0;
  std::uint32_t refused = 0;
  for (std::uint32_t index = 0; index < session().deviceCount; ++index) {
    if (!isSelected(selection, index)) continue;
    const PciReading gpu = reader().readPciByIndex(index).value_or(PciReading{});
    fmt::print(out, "Unable to {} {}: Insufficient Permissions\n", action, gpuText(gpu));
    ++refused;
  }
  return refused;
}

bool isDeviceFree(std::uint32_t index, const PciReading& gpu, std::ostream& out) {
  session().currentDevice = index;
  const auto own = static_cast<std::uint32_t>(getpid());
  auto processes = reader().readAllProcesses();
  std::erase_if(processes, [own](const ProcessEntry& process) { return process.pid == own; });
  if (processes.empty()) return true;
  fmt::print(out, "{}is currently in use by another process, pid: ", gpuText(gpu));
  for (const ProcessEntry& process : processes) fmt::print(out, "{} ", process.pid);
  out << "\n" << std::flush;
  return false;
}

int reportCounts(const ControlCounts& counts, std::string_view advice, std::string_view action,
                 std::ostream& out) {
  if (counts.busy != 0) {
    fmt::print(out,
               "\n{} devices are currently being used by one or more other processes (e.g., Fabric "
               "Manager, CUDA application, or a monitoring application such as another instance of "
               "zanctl). Please first kill all processes using these devices and all compute "
               "applications running in the system.{}\n",
               counts.busy, advice);
  }
  const std::uint32_t count = session().deviceCount;
  if (counts.done == count) {
    out << "All done.\n";
    return 0;
  }
  fmt::print(out, "{} devices failed to {}!\n", count - counts.done, action);
  return -1;
}

}  // namespace zanctl
