#include "reports/summary.h"

#include "device/format.h"
#include "device/readers.h"
#include "device/session.h"
#include "device/time.h"
#include "output/pass_loop.h"

#include <fmt/ostream.h>

#include <iostream>

#include <unistd.h>

namespace zanctl {
namespace {

constexpr std::string_view kBorder =
    "+-----------------------------------------------------------------------------+\n";
constexpr std::string_view kTitles =
    "|-------------------------------+----------------------+----------------------|\n"
    "| GPU  Name                     | Bus-Id               | Clock-SM  Clock-Mem  |\n"
    "| Fan  Temp  Perf  Pwr:Usage/Cap|      Memory-Usage    | GPU-Util  Compute M. |\n"
    "|===============================+======================+======================|\n";
constexpr std::string_view kGpuRule =
    "+-------------------------------+----------------------+----------------------+\n";
constexpr std::string_view kProcessTitles =
    "| Processes:                                                       GPU Memory |\n"
    "|  GPU        PID      Process name                                Usage(MiB) |\n"
    "|=============================================================================|\n";
constexpr std::string_view kNoProcesses =
    "|  No running processes found                                                 |\n";

std::int32_t asSigned(std::uint64_t value) { return static_cast<std::int32_t>(value); }

std::vector<SummaryProcess> collectProcesses(std::uint32_t deviceCount) {
  std::vector<SummaryProcess> processes;
  for (std::uint32_t index = 0; index < deviceCount; ++index) {
    session().currentDevice = index;
    for (ProcessEntry& entry : reader().readRunningProcesses()) {
      if (entry.pid == static_cast<std::uint32_t>(getpid())) continue;
      processes.push_back({index, std::move(entry)});
    }
  }
  return processes;
}

Summary collectSummary(const DeviceSet& selection, std::time_t time) {
  Summary summary{};
  summary.time = time;
  summary.libraryVersion = libraryVersion();
  summary.driverVersion = driverVersion();
  summary.cudaVersion = cudaVersion();
  const std::uint32_t deviceCount = session().deviceCount;
  for (std::uint32_t index = 0; index < deviceCount; ++index) {
    if (!isSelected(selection, index)) continue;
    session().currentDevice = index;
    DeviceInfo info = reader().readDeviceInfo();
    summary.gpus.push_back({index, std::move(info), reader().readSummary()});
  }
  summary.processes = collectProcesses(deviceCount);
  return summary;
}

std::string watts(std::uint32_t value) { return fmt::format("{}W", value); }

std::string usageAndCap(std::uint32_t usage, std::uint32_t cap) {
  return fmt::format("{} / {}", usage == kUnavailable ? "N/A" : watts(usage),
                     cap == kUnavailable ? "N/A" : watts(cap));
}

// A board of two shows its power on the first GPU.
std::string powerText(const SummaryGpu& gpu) {
  const SummaryReading& reading = gpu.reading;
  if (gpu.info.boardPosition == kUnavailable) {
    return usageAndCap(reading.powerUsage, reading.powerLimit);
  }
  if (gpu.info.boardPosition == 1) return usageAndCap(kUnavailable, kUnavailable);
  return usageAndCap(reading.boardPowerUsage, reading.boardPowerLimit);
}

void writeHeader(std::ostream& out, const Summary& summary) {
  out << timestampLine(summary.time) << kBorder;
  fmt::print(out, "|  ZAN-ML: {}     Driver Version: {}     CUDA Version: {}      |\n",
             fmtText(summary.libraryVersion, 7), fmtText(summary.driverVersion, 7),
             fmtText(summary.cudaVersion, 7));
  out << kTitles;
}

void writeGpu(std::ostream& out, const SummaryGpu& gpu) {
  const SummaryReading& reading = gpu.reading;
  fmt::print(out, "| {}   {} | {} | {}  {}   |\n", fmtInt(asSigned(gpu.index), 2),
             fmtText(gpu.info.name, 24), fmtText(busIdText(gpu.info.pci), 20),
             fmtIntUnit(asSigned(reading.smClock), "MHz", 8),
             fmtIntUnit(asSigned(reading.memClock), "MHz", 8));
  fmt::print(out, "| {} {} {} {} | {} | {}  {} |\n", fmtPercent(asSigned(reading.fanSpeed), 4),
             fmtIntUnit(asSigned(reading.temperature), "C", 5),
             fmtText(fmt::format("P{}", asSigned(reading.perfState)), 5),
             fmtText(powerText(gpu), 12),
             fmtMemory(asSigned(reading.memUsed), asSigned(reading.memTotal), 20),
             fmtPercent(asSigned(reading.gpuUtil), 8), fmtComputeMode(gpu.info.computeMode, 10));
  out << kGpuRule;
}

void writeProcesses(std::ostream& out, const std::vector<SummaryProcess>& processes) {
  out << "\n" << kBorder << kProcessTitles;
  for (const auto& [gpuIndex, entry] : processes) {
    if (entry.gone || entry.name.empty()) continue;
    fmt::print(out, "|  {:>3}{:>11}      {}  {} |\n", gpuIndex, entry.pid,
               processNameColumn(entry.name), fmtInt(asSigned(entry.usedMemoryMiB), 10));
  }
  if (processes.empty()) out << kNoProcesses;
  out << kBorder;
}

}  // namespace

std::string processNameColumn(std::string_view name) {
  constexpr std::size_t kWidth = 42;
  constexpr std::size_t kCutWidth = 39;
  constexpr std::size_t kTailLength = 37;
  if (name.size() <= kWidth) return fmtText(name, kWidth);
  const std::size_t pathLength = name.find(' ');
  const std::string_view path = name.substr(0, pathLength);
  if (path.size() > kWidth) {
    return "..." + fmtText(path.substr(path.size() - kTailLength), kCutWidth);
  }
  if (path.size() >= kCutWidth - 1) return fmtText(path, kWidth);
  return fmtText(name, kCutWidth) + "...";
}

void writeSummary(std::ostream& out, const Summary& summary) {
  writeHeader(out, summary);
  for (const SummaryGpu& gpu : summary.gpus) writeGpu(out, gpu);
  writeProcesses(out, summary.processes);
}

void printSummary(const DeviceSet& selection, const std::string& logFile,
                  std::uint64_t intervalSeconds) {
  Output output(logFile);
  if (!output.usable()) {
    fmt::print(std::cout, "Failed to create the log file {}\n\n", logFile);
    return;
  }
  runPasses(output, onceOrEvery(intervalSeconds), [&selection](const Pass& pass) {
    writeSummary(pass.out, collectSummary(selection, pass.start.tv_sec));
  });
}

}  // namespace zanctl
