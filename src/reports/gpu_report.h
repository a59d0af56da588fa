// What the text and XML reports say of one GPU: its readings, section by section.
#pragma once

#include "device/records.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace zanctl {

// What stands above the GPUs of a report.
struct ReportHead {
  std::time_t time;
  std::string driverVersion;
  std::string cudaVersion;
  std::uint32_t deviceCount;
};

struct ProcessSection {
  bool none;  // no process, or only our own
  std::vector<ProcessEntry> listed;
};

// Only the readings of the sections asked for are filled.
struct GpuReport {
  DeviceInfo info;  // of a filtered report, `pci` alone
  MemoryReading memory;
  UtilizationReading utilization;
  EccModeReading eccMode;
  TemperatureReading temperature;
  PowerReading power;  // boardUsage as first read for the board in this pass
  ClocksReading clocks;
  std::uint32_t computeMode;
  std::uint32_t performanceState;
  RetiredPagesReading retiredPages;
  ProcessSection processes;
  BoardInfo board;
};

// The sections by bit number, in the order of the report.
enum class Section : unsigned {
  memory,
  utilization,
  ecc,
  temperature,
  power,
  clock,
  compute,
  performance,
  pageRetirement,
  pids,
  hardwareMonitor,  // not part of a full report
};

using SectionMask = unsigned;

constexpr SectionMask maskOf(Section section) { return 1U << static_cast<unsigned>(section); }

inline constexpr SectionMask kFullReport = maskOf(Section::hardwareMonitor) - 1;

constexpr bool isFull(SectionMask mask) { return (mask & kFullReport) == kFullReport; }
constexpr bool holds(SectionMask mask, Section section) { return (mask & maskOf(section)) != 0; }

// Reads the sections of the mask from the current GPU, and its identity for a full report.
GpuReport collectGpuReport(SectionMask mask);

}  // namespace zanctl
