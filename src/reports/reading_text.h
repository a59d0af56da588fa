// The words that the queries and reports share for readings.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zanctl {

// The number and its unit; "N/A" for the mark of an unavailable value.
std::string numberText(std::uint32_t value, std::string_view unit = "");
std::string numberText(std::uint64_t value, std::string_view unit = "");

// Upper-case hexadecimal digits, filled up with zeros; the second puts "0x" before them.
std::string hexText(std::uint32_t value, int digits);
std::string prefixedHexText(std::uint32_t value, int digits);

// Whole MiB of a byte count, with the unit.
std::string mebibytesText(std::uint64_t bytes);

// The full name of an nvmlComputeMode_t; "N/A" for any other value.
std::string_view computeModeName(std::uint32_t mode);

struct VirtualizationText {
  std::string_view mode;          // empty for a mode without a name
  std::string_view hostVgpuMode;  // "N/A" but on a host of virtual GPUs
};

// Of an nvmlGpuVirtualizationMode_t and an nvmlHostVgpuMode_t.
VirtualizationText virtualizationText(std::uint32_t mode, std::uint32_t hostVgpuMode);

}  // namespace zanctl
