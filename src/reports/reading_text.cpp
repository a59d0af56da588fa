#include "reports/reading_text.h"

#include "device/records.h"

#include <fmt/compile.h>

#include <array>

namespace zanctl {
namespace {

constexpr std::array<std::string_view, 4> kComputeModeNames = {"Default", "Exclusive Thread",
                                                               "Prohibited", "Exclusive Process"};

template <typename Number>
std::string textOf(Number value, Number mark, std::string_view unit) {
  return value == mark ? kUnavailableText : fmt::format(FMT_COMPILE("{}{}"), value, unit);
}

}  // namespace

std::string numberText(std::uint32_t value, std::string_view unit) {
  return textOf(value, kUnavailable, unit);
}

std::string numberText(std::uint64_t value, std::string_view unit) {
  return textOf(value, kUnavailable64, unit);
}

std::string hexText(std::uint32_t value, int digits) {
  return fmt::format(FMT_COMPILE("{:0{}X}"), value, digits);
}

std::string prefixedHexText(std::uint32_t value, int digits) {
  return "0x" + hexText(value, digits);
}

std::string mebibytesText(std::uint64_t bytes) {
  return fmt::format(FMT_COMPILE("{} MiB"), bytes >> 20);
}

std::string_view computeModeName(std::uint32_t mode) {
  return mode < kComputeModeNames.size() ? kComputeModeNames[mode] : kUnavailableText;
}

VirtualizationText virtualizationText(std::uint32_t mode, std::uint32_t hostVgpuMode) {
  switch (mode) {
    case NVML_GPU_VIRTUALIZATION_MODE_NONE:
      return {"None", kUnavailableText};
    case NVML_GPU_VIRTUALIZATION_MODE_VGPU:
      return {"VGPU", kUnavailableText};
    case NVML_GPU_VIRTUALIZATION_MODE_HOST_VGPU:
      return {"Host VGPU", hostVgpuMode != 0 ? "SR-IOV" : "Non SR-IOV"};
    default:
      return {"", kUnavailableText};
  }
}

}  // namespace zanctl
