// How the queries and reports write readings. Each function appends what it says of a reading;
// where that is unavailable it appends nothing and returns false, and the output puts its own mark
// in the reading's place.
#pragma once

#include "device/records.h"
#include "output/text.h"
#include "reports/gpu_attributes.h"

#include <cstdint>
#include <optional>
#include <string>

namespace zanctl {

// Decimal; all ones are unavailable, too.
template <typename Number>
bool writeNumber(std::string& text, std::optional<Number> value) {
  if (!known(value)) return false;
  join(text, Decimal(*value));
  return true;
}

inline bool writeText(std::string& text, const std::optional<std::string>& value) {
  if (value) text += *value;
  return value.has_value();
}

// Whole MiB of a byte count.
bool writeMebibytes(std::string& text, std::uint64_t bytes);

// The full name of an nvmlComputeMode_t.
bool writeComputeMode(std::string& text, std::optional<std::uint32_t> mode);

// Of the GPU, where a mode that cannot be read counts as none and some modes have no name.
bool writeVirtualizationMode(std::string& text, GpuAttributes& gpu);
// On a host of virtual GPUs alone.
bool writeHostVgpuMode(std::string& text, GpuAttributes& gpu);

// The same for single attributes, as rows of a table take them.
template <std::optional<std::uint32_t> (*attribute)()>
bool number(std::string& text, GpuAttributes&) {
  return writeNumber(text, attribute());
}
template <std::optional<std::string> (*attribute)()>
bool wording(std::string& text, GpuAttributes&) {
  return writeText(text, attribute());
}
template <nvmlTemperatureThresholds_t which>
bool threshold(std::string& text, GpuAttributes&) {
  return writeNumber(text, attributes::temperatureThreshold(which));
}
template <nvmlPcieUtilCounter_t counter>
bool throughput(std::string& text, GpuAttributes&) {
  return writeNumber(text, attributes::pcieThroughput(counter));
}
template <nvmlClockType_t type>
bool maxClock(std::string& text, GpuAttributes&) {
  return writeNumber(text, attributes::maxClockInfo(type));
}
template <nvmlPageRetirementCause_t cause>
bool retiredPages(std::string& text, GpuAttributes&) {
  return writeNumber(text, attributes::retiredPageCount(cause));
}
inline constexpr auto kSingleBitPages =
    retiredPages<NVML_PAGE_RETIREMENT_CAUSE_MULTIPLE_SINGLE_BIT_ECC_ERRORS>;
inline constexpr auto kDoubleBitPages =
    retiredPages<NVML_PAGE_RETIREMENT_CAUSE_DOUBLE_BIT_ECC_ERROR>;

inline bool gpuName(std::string& text, GpuAttributes& gpu) { return writeText(text, gpu.name()); }
inline bool gpuSerial(std::string& text, GpuAttributes& gpu) {
  return writeText(text, gpu.serial());
}
inline bool gpuUuid(std::string& text, GpuAttributes& gpu) { return writeText(text, gpu.uuid()); }
// As "DDDDDDDD:BB:DD.0".
bool gpuBusId(std::string& text, GpuAttributes& gpu);
// The local time at which the reading of the GPU began.
bool readingTime(std::string& text, GpuAttributes& gpu);
inline bool gpuPosition(std::string& text, GpuAttributes& gpu) {
  return writeNumber(text, gpu.boardPosition());
}
inline bool multiGpuBoard(std::string& text, GpuAttributes&) {
  text += attributes::multiGpuBoard() ? "Yes" : "No";
  return true;
}

}  // namespace zanctl
