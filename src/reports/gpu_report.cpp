#include "reports/gpu_report.h"

#include "device/attributes.h"
#include "device/readers.h"

#include <unistd.h>

namespace zanctl {
namespace {

// GPUs of one board all show the figure that was read first in this pass.
PowerReading readSharedPower() {
  PowerReading power = reader().readPower();
  if (power.boardId == kUnavailable) return power;
  auto& table = boardPowerTable();
  if (const auto known = table.find(power.boardId); known != table.end()) {
    power.boardUsage = known->second;
  } else if (power.boardUsage != kUnavailable) {
    table[power.boardId] = power.boardUsage;
  }
  return power;
}

ProcessSection readProcessSection() {
  const auto own = static_cast<std::uint32_t>(getpid());
  std::vector<ProcessEntry> processes = reader().readRunningProcesses();
  ProcessSection section{};
  section.none = processes.empty() || (processes.size() == 1 && processes[0].pid == own);
  std::erase_if(processes, [own](const ProcessEntry& process) {
    return process.pid == own || process.gone || process.name.empty();
  });
  section.listed = std::move(processes);
  return section;
}

}  // namespace

GpuReport collectGpuReport(SectionMask mask) {
  GpuReport report{};
  if (isFull(mask)) {
    report.info = reader().readDeviceInfo();
  } else {
    report.info.pci = attributes::pci().value_or(nvmlPciInfo_t{});
  }
  const auto collect = [mask](Section section, auto& reading, const auto& read) {
    if (holds(mask, section)) reading = read();
  };
  const DeviceReader& device = reader();
  collect(Section::memory, report.memory, [&] { return device.readMemory(); });
  collect(Section::utilization, report.utilization, [&] { return device.readUtilization(); });
  collect(Section::ecc, report.eccMode, [&] { return device.readEccMode(); });
  collect(Section::temperature, report.temperature, [&] { return device.readTemperature(); });
  collect(Section::power, report.power, readSharedPower);
  collect(Section::clock, report.clocks, [&] { return device.readClocks(); });
  collect(Section::compute, report.computeMode, [&] { return device.readComputeMode(); });
  collect(Section::performance, report.performanceState,
          [&] { return device.readPerformanceState(); });
  collect(Section::pageRetirement, report.retiredPages, [&] { return device.readRetiredPages(); });
  collect(Section::pids, report.processes, readProcessSection);
  collect(Section::hardwareMonitor, report.board, [&] { return device.readBoardInfo(); });
  return report;
}

}  // namespace zanctl
