// What the readers return: one record per reading, by value. A value the library did not supply
// carries its field's mark, named beside the field where it is not the usual one: all ones for
// numbers where 0 is meaningful, "N/A" for texts.
#pragma once

#include "zanml/zanml.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace zanctl {

inline constexpr std::uint32_t kUnavailable = std::numeric_limits<std::uint32_t>::max();
inline constexpr std::uint64_t kUnavailable64 = std::numeric_limits<std::uint64_t>::max();
inline constexpr const char* kUnavailableText = "N/A";
inline constexpr std::uint32_t kUnknownPerformanceState = 32;
inline constexpr std::uint32_t kUnavailableBoardTemperature = 255;

// One row of the summary table.
struct SummaryReading {
  std::int64_t timestamp;         // system clock's ticks at the start of the reading
  std::uint32_t temperature;      // C
  std::uint32_t fanSpeed;         // percent
  std::uint32_t powerUsage;       // W
  std::uint32_t powerLimit;       // W
  std::uint32_t boardPowerUsage;  // W
  std::uint32_t boardPowerLimit;  // W
  std::uint32_t gpuUtil;          // percent; 0 when unavailable
  std::uint32_t memUtil;          // percent; 0 when unavailable
  std::uint64_t memTotal;         // MiB; 0 when unavailable
  std::uint64_t memFree;          // MiB; 0 when unavailable
  std::uint64_t memUsed;          // MiB; 0 when unavailable
  std::uint32_t smClock;          // MHz; 0 when unavailable
  std::uint32_t memClock;         // MHz; 0 when unavailable
  std::uint32_t perfState;        // 0 to 15; 32 when unavailable
};

// The identity of one GPU.
struct DeviceInfo {
  std::string name;
  std::string serial;
  std::string uuid;
  std::string partNumber;
  std::string multiGpuBoard;  // "Yes", or "No" also when unavailable
  std::uint32_t boardId;
  std::uint32_t boardPosition;  // 0 for a board's first GPU
  std::uint32_t minorNumber;    // 0 when unavailable
  std::uint32_t computeMode;    // nvmlComputeMode_t; 0 when unavailable
  std::int32_t ccMajor;         // 0 when unavailable
  std::int32_t ccMinor;         // 0 when unavailable
  nvmlPciInfo_t pci;            // zeroed when unavailable
  std::uint32_t pcieGenCurrent;
  std::uint32_t pcieWidthCurrent;  // lanes
  std::uint32_t pcieGenMax;
  std::uint32_t pcieWidthMax;        // lanes
  std::uint32_t pcieTx;              // KB/s
  std::uint32_t pcieRx;              // KB/s
  std::uint32_t fanSpeed;            // percent
  std::uint32_t virtualizationMode;  // nvmlGpuVirtualizationMode_t; 0 when unavailable
  std::uint32_t hostVgpuMode;        // nvmlHostVgpuMode_t; 0 when unavailable
};

// Where a GPU is plugged in and how it is virtualised, read by library index.
struct PciReading {
  nvmlPciInfo_t pci;                 // zeroed when unavailable
  std::uint32_t virtualizationMode;  // nvmlGpuVirtualizationMode_t; 0 when unavailable
};

// Two numbers as the library gives them; both all ones when unavailable.
struct VoltageReading {
  std::uint32_t integerPart;
  std::uint32_t fractionPart;
};

// The hardware monitor of the maker's boards.
struct BoardInfo {
  nvmlPciInfo_t pci;  // zeroed when unavailable
  std::string firmwareVersion;
  std::string hardwareVersion;
  VoltageReading gpuVoltage;
  VoltageReading vddVoltage;
  VoltageReading memVoltage;
  std::string boardPn;
  std::uint32_t gpuSn;
  std::uint32_t boardTemperature;  // C; 255 when unavailable
  std::uint64_t boardSn;
  std::string manufactureDate;
  std::uint32_t ceMask;
  std::uint32_t ceMaskDefault;
};

// One sample of the device monitor and the daemon.
struct MonitorReading {
  std::uint32_t power;        // W; of a board of several GPUs only on position 0
  std::uint32_t temperature;  // C
  std::uint32_t boardPosition;
  std::uint32_t boardId;
  std::uint32_t gpuUtil;   // percent; 0 when unavailable
  std::uint32_t memUtil;   // percent; 0 when unavailable
  std::uint32_t smClock;   // MHz; 0 when unavailable
  std::uint32_t memClock;  // MHz; 0 when unavailable
  std::uint32_t encUtil;   // percent; 0 when unavailable
  std::uint32_t decUtil;   // percent; 0 when unavailable
};

// One sample of the statistics.
struct StatsReading {
  std::uint32_t power;          // W; of a board of several GPUs only on position 0
  std::uint32_t temperature;    // C
  std::uint32_t gpuUtil;        // percent
  std::uint32_t memUtil;        // percent
  std::uint32_t encUtil;        // percent
  std::uint32_t decUtil;        // percent
  std::uint32_t smClock;        // MHz
  std::uint32_t memClock;       // MHz
  std::uint64_t violationTime;  // ns; 0 when unavailable
  bool throttled;               // false when unavailable
};

// Bytes; all 0 when unavailable.
struct MemoryReading {
  std::uint64_t total;
  std::uint64_t free;
  std::uint64_t used;
};

// Percent; 0 when unavailable.
struct UtilizationReading {
  std::uint32_t gpu;
  std::uint32_t memory;
  std::uint32_t encoder;
  std::uint32_t decoder;
};

// nvmlEnableState_t; both 0 when unavailable.
struct EccModeReading {
  std::uint32_t current;
  std::uint32_t pending;
};

// C.
struct TemperatureReading {
  std::uint32_t current;
  std::uint32_t shutdown;
  std::uint32_t slowdown;
  std::uint32_t maxOperating;
};

struct PowerReading {
  std::uint32_t usage;            // W
  std::uint32_t managementLimit;  // W
  std::uint32_t boardUsage;       // W
  std::uint32_t boardLimit;       // W
  std::uint32_t boardId;
};

// MHz.
struct ClocksReading {
  std::uint32_t sm;      // 0 when unavailable
  std::uint32_t memory;  // 0 when unavailable
  std::uint32_t maxSm;
  std::uint32_t maxMemory;
};

struct RetiredPagesReading {
  std::uint64_t singleBit;
  std::uint64_t doubleBit;
};

// The compute processes of one GPU and what their shares are computed from.
struct ProcessUsage {
  std::vector<nvmlProcessInfo_t> processes;
  std::uint64_t memoryTotal;  // bytes; 0 when unavailable
  UtilizationReading utilization;
};

// One process in a process table.
struct ProcessEntry {
  std::uint32_t pid;
  std::string name;  // command line; empty when it could not be found
  std::uint64_t usedMemoryMiB;
  bool gone;  // the process no longer exists
};

}  // namespace zanctl
