// DeviceReader: the readings that take several library calls, on the session's current GPU.
// Single values are read with attributes.h.
#pragma once

#include "device/records.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace zanctl {

// The parts of a monitor sample. One library call reads several parts where it can.
enum MonitorPart : std::uint32_t {
  kPower = 1U << 0U,
  kTemperature = 1U << 1U,
  kUtilization = 1U << 2U,  // of GPU and memory
  kEncoder = 1U << 3U,
  kDecoder = 1U << 4U,
  kSmClock = 1U << 5U,
  kMemClock = 1U << 6U,
  kViolationTime = 1U << 7U,
  kThrottleReasons = 1U << 8U,
};

// What a line of dmon and of the daemon's log shows.
inline constexpr std::uint32_t kMonitorLineParts =
    kPower | kTemperature | kUtilization | kEncoder | kDecoder | kSmClock | kMemClock;

class DeviceReader {
 public:
  // Of the GPU with this library index, whatever GPU is current; empty without its handle.
  [[nodiscard]] std::optional<PciReading> readPciByIndex(std::uint32_t index) const;

  // `parts` is a set of MonitorPart; nothing else is read.
  [[nodiscard]] MonitorReading readMonitorSample(std::uint32_t parts) const;

  // Process lists, in the library's order and whole; empty when unavailable. The first two also
  // fill the vGPU process table (process.h) for the current GPU, where there are processes.
  [[nodiscard]] std::vector<nvmlProcessInfo_t> readComputeProcesses() const;
  // Without our own process.
  [[nodiscard]] std::vector<nvmlProcessInfo_t> readRunningProcesses() const;
  // The ids of all processes that use the GPU, not only of those with a compute context, without
  // our own. Where the list outgrows the room again and again it is one id of 0: somebody uses it.
  [[nodiscard]] std::vector<std::uint32_t> readAllProcesses() const;
};

const DeviceReader& reader();

// What this host knows of a process of such a list.
ProcessEntry describeProcess(const nvmlProcessInfo_t& process);

// Asks for the current GPU's entries of the vGPU process table (process.h).
void refreshVgpuProcessTable();

}  // namespace zanctl
