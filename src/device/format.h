// Fixed-width text of values: left-aligned, and padded with blanks or cut, between characters, to
// exactly `width` bytes. -1, which all ones become, reads as "N/A" where it says so.
#pragma once

#include "zanml/zanml.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zanctl {

std::string fmtText(std::string_view text, std::size_t width);
std::string fmtInt(std::int32_t value, std::size_t width);
// The value followed by its unit; "N/A" for -1.
std::string fmtIntUnit(std::int32_t value, std::string_view unit, std::size_t width);
// "<used>MiB / <total>MiB".
std::string fmtMemory(std::int32_t usedMiB, std::int32_t totalMiB, std::size_t width);
// "<value>%"; "N/A" for -1.
std::string fmtPercent(std::int32_t value, std::size_t width);
// The short name of an nvmlComputeMode_t; "N/A" for any other value.
std::string fmtComputeMode(std::uint32_t mode, std::size_t width);

// The number, or "-" without one.
template <typename Number>
std::string orDash(std::optional<Number> value) {
  return value ? std::to_string(*value) : "-";
}

// Upper-case hexadecimal digits, at least so many of them, filled up with zeros.
std::string hexText(std::uint64_t value, std::size_t digits);

// "DDDDDDDD:BB:DD.0": domain, bus and device in upper-case hexadecimal; the function is always 0.
std::string busIdText(const nvmlPciInfo_t& pci);

}  // namespace zanctl
