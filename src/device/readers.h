// DeviceReader: one operation per reading, each on the session's current GPU. Every reader returns
// a complete record, in which what the library did not supply carries its field's mark.
#pragma once

#include "device/records.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace zanctl {

class DeviceReader {
 public:
  [[nodiscard]] SummaryReading readSummary() const;
  [[nodiscard]] DeviceInfo readDeviceInfo() const;
  // Of the GPU with this library index, whatever GPU is current; empty without its handle.
  [[nodiscard]] std::optional<PciReading> readPciByIndex(std::uint32_t index) const;
  [[nodiscard]] BoardInfo readBoardInfo() const;
  [[nodiscard]] MonitorReading readMonitorSample() const;
  [[nodiscard]] MemoryReading readMemory() const;
  [[nodiscard]] UtilizationReading readUtilization() const;
  [[nodiscard]] EccModeReading readEccMode() const;
  [[nodiscard]] TemperatureReading readTemperature() const;
  [[nodiscard]] PowerReading readPower() const;
  [[nodiscard]] ClocksReading readClocks() const;
  [[nodiscard]] std::uint32_t readComputeMode() const;       // nvmlComputeMode_t, or 0
  [[nodiscard]] std::uint32_t readPerformanceState() const;  // 0 to 15, or 32
  [[nodiscard]] RetiredPagesReading readRetiredPages() const;
  // Engine counts are at most kZanmlMaxEngines, and 0 when unavailable.
  [[nodiscard]] zanmlJpuUtilization_t readJpuUtilization() const;
  [[nodiscard]] zanmlVpuUtilization_t readVpuUtilization() const;

  // Process lists, in the library's order and whole; empty when unavailable. Each also fills the
  // vGPU process table (process.h) for the current GPU.
  [[nodiscard]] std::vector<nvmlProcessInfo_t> readComputeProcesses() const;
  [[nodiscard]] ProcessUsage readProcessUsage() const;
  [[nodiscard]] std::vector<ProcessEntry> readRunningProcesses() const;
  // Every process that uses the GPU, not only those with a compute context. Where the list outgrows
  // the room again and again it is one entry of process id 0: somebody uses the GPU.
  [[nodiscard]] std::vector<ProcessEntry> readAllProcesses() const;
};

const DeviceReader& reader();

// Asks for the current GPU's entries of the vGPU process table (process.h).
void refreshVgpuProcessTable();

// Board power in W by board id, so that a board of several GPUs is asked once. Every pass of an
// output that shows board power empties it first.
std::map<std::uint32_t, std::uint32_t>& boardPowerTable();

// A board's power in W, from the table or else read from the current GPU and kept. Empty, and
// nothing kept, when it cannot be read.
std::optional<std::uint32_t> boardPowerOnce(std::uint32_t boardId);

// What the current GPU, at this place of this board, shows as power in W: its board's on position 0
// and nothing on the others; its own where board or position is unavailable.
std::uint32_t powerOnBoard(std::uint32_t boardId, std::uint32_t boardPosition);

}  // namespace zanctl
