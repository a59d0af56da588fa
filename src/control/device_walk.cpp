#include "control/device_walk.h"

#include "device/format.h"
#include "device/readers.h"

#include <fmt/format.h>

#include <ostream>

#include <unistd.h>

namespace zanctl {
namespace {

// Its blank included.
std::string gpuText(const PciReading& gpu) { return "GPU " + busIdText(gpu.pci) + " "; }

PciReading readGpu(std::uint32_t index) {
  return reader().readPciByIndex(index).value_or(PciReading{});
}

// Whether no process but our own uses the current GPU; otherwise its processes are named.
bool isDeviceFree(const PciReading& gpu, std::ostream& out) {
  const auto processes = reader().readAllProcesses();
  if (processes.empty()) return true;
  out << gpuText(gpu) << "is currently in use by another process, pid: ";
  for (const std::uint32_t pid : processes) out << pid << " ";
  out << "\n" << std::flush;
  return false;
}

void applyTo(const PciReading& gpu, const DeviceAction& action, WalkCounts& counts,
             std::ostream& out) {
  const nvmlReturn_t answer = action.apply();
  out << gpuText(gpu);
  if (answer == NVML_SUCCESS) {
    out << action.success << "\n";
    ++counts.done;
  } else {
    out << action.failure << static_cast<int>(answer) << " .\n";
  }
  out << std::flush;
}

// False when the GPU must not be touched.
bool tryDevice(std::uint32_t index, const DeviceAction& action, WalkCounts& counts,
               std::ostream& out) {
  const auto reading = reader().readPciByIndex(index);
  if (!reading && !action.unreadable.empty()) {
    out << action.unreadable << "\n";
    return false;
  }
  const PciReading gpu = reading.value_or(PciReading{});
  if (gpu.virtualizationMode == NVML_GPU_VIRTUALIZATION_MODE_VGPU) {
    out << action.title << " couldn't run because GPU " << gpuText(gpu) << "is in vGPU mode.\n";
    return false;
  }
  if (isDeviceFree(gpu, out)) {
    applyTo(gpu, action, counts, out);
  } else {
    ++counts.busy;
  }
  return true;
}

}  // namespace

std::uint32_t checkPermissions(const DeviceSet& selection, std::string_view action,
                               std::ostream& out) {
  std::uint32_t refused = 0;
  if (geteuid() == 0) return refused;
  forEachDevice(selection, [&](std::uint32_t index) {
    out << "Unable to " << action << " " << gpuText(readGpu(index))
        << ": Insufficient Permissions\n";
    ++refused;
  });
  return refused;
}

bool walkDevices(const DeviceSet& selection, const DeviceAction& action, WalkCounts& counts,
                 std::ostream& out) {
  bool stopped = false;
  forEachDevice(selection, [&](std::uint32_t index) {
    stopped = stopped || !tryDevice(index, action, counts, out);
  });
  // What was not selected need not be dealt with.
  if (!selection.empty())
    counts.done += session().deviceCount - static_cast<std::uint32_t>(selection.size());
  return !stopped;
}

int reportCounts(const WalkCounts& counts, const DeviceAction& action, std::ostream& out) {
  if (counts.busy != 0) {
    out << fmt::format(
        "\n{} devices are currently being used by one or more other processes (e.g., Fabric "
        "Manager, CUDA application, or a monitoring application such as another instance of "
        "zanctl). Please first kill all processes using these devices and all compute "
        "applications running in the system.{}\n",
        counts.busy, action.advice);
  }
  const std::uint32_t count = session().deviceCount;
  if (counts.done == count) {
    out << "All done.\n";
    return 0;
  }
  out << fmt::format("{} devices failed to {}!\n", count - counts.done, action.summary);
  return -1;
}

}  // namespace zanctl
