// The words that the queries and reports share for readings. A reading without a text is
// unavailable: the output puts its own mark in its place.
#pragma once

#include "reports/gpu_attributes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zanctl {

// Decimal, unless the value is unavailable or all ones.
std::optional<std::string> shown(std::optional<std::uint32_t> value);
std::optional<std::string> shown(std::optional<std::uint64_t> value);

// Upper-case hexadecimal digits, filled up with zeros.
std::string hexText(std::uint32_t value, int digits);

// Whole MiB of a byte count.
std::string mebibytes(std::uint64_t bytes);

// The full name of an nvmlComputeMode_t.
std::optional<std::string> computeModeName(std::optional<std::uint32_t> mode);

// Of the GPU, where a mode that cannot be read counts as none and some modes have no name.
std::optional<std::string> virtualizationModeName(GpuAttributes& gpu);
// On a host of virtual GPUs alone.
std::optional<std::string> hostVgpuModeName(GpuAttributes& gpu);

}  // namespace zanctl
