#include "reports/reading_text.h"

#include "device/records.h"

#include <fmt/compile.h>

#include <array>

namespace zanctl {
namespace {

constexpr std::array<const char*, 4> kComputeModeNames = {"Default", "Exclusive Thread",
                                                          "Prohibited", "Exclusive Process"};

template <typename Number>
std::optional<std::string> textOf(std::optional<Number> value) {
  return value ? std::optional(fmt::to_string(*value)) : std::nullopt;
}

std::uint32_t modeOf(GpuAttributes& gpu) {
  return gpu.virtualizationMode().value_or(NVML_GPU_VIRTUALIZATION_MODE_NONE);
}

}  // namespace

std::optional<std::string> shown(std::optional<std::uint32_t> value) {
  return textOf(known(value));
}

std::optional<std::string> shown(std::optional<std::uint64_t> value) {
  return textOf(known(value));
}

std::string hexText(std::uint32_t value, int digits) {
  return fmt::format(FMT_COMPILE("{:0{}X}"), value, digits);
}

std::string mebibytes(std::uint64_t bytes) { return fmt::to_string(bytes >> 20U); }

std::optional<std::string> computeModeName(std::optional<std::uint32_t> mode) {
  if (!mode || *mode >= kComputeModeNames.size()) return std::nullopt;
  return kComputeModeNames[*mode];
}

std::optional<std::string> virtualizationModeName(GpuAttributes& gpu) {
  switch (modeOf(gpu)) {
    case NVML_GPU_VIRTUALIZATION_MODE_NONE:
      return "None";
    case NVML_GPU_VIRTUALIZATION_MODE_VGPU:
      return "VGPU";
    case NVML_GPU_VIRTUALIZATION_MODE_HOST_VGPU:
      return "Host VGPU";
    default:
      return std::nullopt;
  }
}

std::optional<std::string> hostVgpuModeName(GpuAttributes& gpu) {
  if (modeOf(gpu) != NVML_GPU_VIRTUALIZATION_MODE_HOST_VGPU) return std::nullopt;
  return attributes::hostVgpuMode().value_or(0) != 0 ? "SR-IOV" : "Non SR-IOV";
}

}  // namespace zanctl
