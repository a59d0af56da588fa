// The views of the vgpu subcommand: each writes its part for one GPU, given its index.
#pragma once

#include "vgpu/vgpu_view.h"

#include <cstdint>
#include <string>

namespace zanctl {

// The table of the vGPUs that run, 79 characters wide.
void writeActiveListHead(std::string& text, const VgpuView& view);
void writeActiveList(std::string& text, std::uint32_t gpu, const VgpuView& view);

// Everything that is known of each vGPU that runs.
void writeVgpuQuery(std::string& text, std::uint32_t gpu, const VgpuView& view);

// The view's types, by their names alone or with all that is known of them.
void writeTypeNames(std::string& text, std::uint32_t gpu, const VgpuView& view);
void writeTypes(std::string& text, std::uint32_t gpu, const VgpuView& view);

// A row for each sample of a vGPU.
void writeUtilizationHead(std::string& text, const VgpuView& view);
void writeUtilization(std::string& text, std::uint32_t gpu, const VgpuView& view);

// The cells that both monitors' rows share: of GPU and vGPU, and of the four shares.
void writeVgpuCells(std::string& text, std::uint32_t gpu, std::uint32_t vgpuId);
void writeUtilizationCells(std::string& text, const VgpuUtilization& utilization);

// A row for each sample of a process inside a vGPU.
void writeProcessUtilizationHead(std::string& text, const VgpuView& view);
void writeProcessUtilization(std::string& text, std::uint32_t gpu, const VgpuView& view);

}  // namespace zanctl
