// Single attributes of the current GPU, each one library call. Empty when the library did not
// supply the value: whoever prints it puts the mark of its output in its place.
#pragma once

#include "zanml/zanml.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zanctl::attributes {

std::optional<std::string> name();
std::optional<std::string> serial();  // empty for the maker's place holders, too
std::optional<std::string> uuid();
std::optional<std::string> partNumber();  // empty for the maker's place holder, too
std::optional<std::uint32_t> index();
std::optional<std::uint32_t> minorNumber();
std::optional<std::uint32_t> computeMode();  // nvmlComputeMode_t
std::optional<nvmlPciInfo_t> pci();

struct ComputeCapability {
  std::int32_t major;
  std::int32_t minor;
};
std::optional<ComputeCapability> computeCapability();

std::optional<std::uint32_t> boardId();
std::optional<std::uint32_t> boardPosition();
bool multiGpuBoard();                            // false when unavailable
std::optional<std::uint32_t> boardPowerUsage();  // W; a reading of 0 means unknown
std::optional<std::uint32_t> boardPowerLimit();  // W; a reading of 0 means unknown

std::optional<std::uint32_t> pcieGenCurrent();
std::optional<std::uint32_t> pcieWidthCurrent();  // lanes
std::optional<std::uint32_t> pcieGenMax();
std::optional<std::uint32_t> pcieWidthMax();                         // lanes
std::optional<std::uint32_t> pcieThroughput(nvmlPcieUtilCounter_t);  // KB/s

std::optional<std::uint32_t> virtualizationMode();  // nvmlGpuVirtualizationMode_t
std::optional<std::uint32_t> hostVgpuMode();        // nvmlHostVgpuMode_t

std::optional<std::uint32_t> fanSpeed();                                         // percent
std::optional<std::uint32_t> temperature();                                      // C
std::optional<std::uint32_t> temperatureThreshold(nvmlTemperatureThresholds_t);  // C
std::optional<std::uint32_t> powerUsage();                                       // W
std::optional<std::uint32_t> enforcedPowerLimit();                               // W
std::optional<std::uint32_t> powerManagementLimit();                             // W
std::optional<std::uint32_t> clock(nvmlClockType_t);                             // MHz, by clock id
std::optional<std::uint32_t> clockInfo(nvmlClockType_t);                         // MHz
std::optional<std::uint32_t> maxClockInfo(nvmlClockType_t);                      // MHz
std::optional<std::uint32_t> performanceState();                                 // 0 to 15, or 32
std::optional<nvmlMemory_t> memory();                                            // bytes
std::optional<nvmlUtilization_t> utilization();                                  // percent
std::optional<std::uint32_t> encoderUtilization();                               // percent
std::optional<std::uint32_t> decoderUtilization();                               // percent
std::optional<std::uint64_t> retiredPageCount(nvmlPageRetirementCause_t);
std::optional<std::uint64_t> violationTime(nvmlPerfPolicyType_t);  // ns
std::optional<std::uint64_t> throttleReasons();                    // a set of bits, 0 for none

// Texts and numbers of the maker's boards.
std::optional<std::string> firmwareVersion();
std::optional<std::string> hardwareVersion();
std::optional<std::string> boardPn();
std::optional<std::string> manufactureDate();
std::optional<std::uint32_t> gpuSn();
std::optional<std::uint64_t> boardSn();
std::optional<std::uint32_t> boardTemperature();  // C; 255 means unknown

// Volts, as two numbers with a point between them.
struct Voltage {
  std::uint32_t integerPart;
  std::uint32_t fractionPart;
};
std::optional<Voltage> gpuVoltage();
std::optional<Voltage> vddVoltage();
std::optional<Voltage> memoryVoltage();

// Engines of the two further kinds, as the library gives them: counts may exceed kZanmlMaxEngines.
std::optional<zanmlJpuUtilization_t> jpuUtilization();
std::optional<zanmlVpuUtilization_t> vpuUtilization();

struct EccMode {
  std::uint32_t current;  // nvmlEnableState_t
  std::uint32_t pending;  // nvmlEnableState_t
};
std::optional<EccMode> eccMode();

// Copy engines, a bit each.
struct CeMask {
  std::uint32_t mask;
  std::uint32_t supported;
};
std::optional<CeMask> ceMask();

// The compute processes, whole and in the library's order.
std::optional<std::vector<nvmlProcessInfo_t>> computeProcesses();

}  // namespace zanctl::attributes
