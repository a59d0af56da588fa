#include "reports/reading_text.h"

#include "device/format.h"
#include "device/time.h"

#include <array>

namespace zanctl {
namespace {

constexpr std::array<const char*, 4> kComputeModeNames = {"Default", "Exclusive Thread",
                                                          "Prohibited", "Exclusive Process"};

std::uint32_t modeOf(GpuAttributes& gpu) {
  return gpu.virtualizationMode().value_or(NVML_GPU_VIRTUALIZATION_MODE_NONE);
}

const char* nameOfMode(std::uint32_t mode) {
  switch (mode) {
    case NVML_GPU_VIRTUALIZATION_MODE_NONE:
      return "None";
    case NVML_GPU_VIRTUALIZATION_MODE_VGPU:
      return "VGPU";
    case NVML_GPU_VIRTUALIZATION_MODE_HOST_VGPU:
      return "Host VGPU";
    default:
      return nullptr;
  }
}

}  // namespace

bool gpuBusId(std::string& text, GpuAttributes& gpu) {
  if (gpu.pci()) text += busIdText(*gpu.pci());
  return gpu.pci().has_value();
}

bool readingTime(std::string& text, GpuAttributes& gpu) {
  text += dateTimeStamp(gpu.time());
  return true;
}

bool writeMebibytes(std::string& text, std::uint64_t bytes) {
  join(text, Decimal(bytes >> 20U));
  return true;
}

bool writeComputeMode(std::string& text, std::optional<std::uint32_t> mode) {
  if (!mode || *mode >= kComputeModeNames.size()) return false;
  text += kComputeModeNames[*mode];
  return true;
}

bool writeVirtualizationMode(std::string& text, GpuAttributes& gpu) {
  const char* const name = nameOfMode(modeOf(gpu));
  if (name != nullptr) text += name;
  return name != nullptr;
}

bool writeHostVgpuMode(std::string& text, GpuAttributes& gpu) {
  if (modeOf(gpu) != NVML_GPU_VIRTUALIZATION_MODE_HOST_VGPU) return false;
  text += attributes::hostVgpuMode().value_or(0) != 0 ? "SR-IOV" : "Non SR-IOV";
  return true;
}

}  // namespace zanctl
