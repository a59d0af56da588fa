// The virtual GPUs on the session's current GPU. Lists are in the library's order; an unavailable
// one is empty.
#pragma once

#include "device/vgpu_records.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zanctl {

// Whether the GPU holds virtual GPUs, by either of the host's two ways.
bool isInVgpuMode();

std::vector<std::uint32_t> readVgpuIds();

// How much of an instance or a type is read; the rest of its record is left as it is.
enum class VgpuDetail {
  names,  // of an instance its type's name, its VM's UUID and its VM's name; of a type its name
  all,
};

// Each type that the instances are of is read once.
std::vector<VgpuInstance> readVgpuInstances(VgpuDetail detail);

// Single values of a vGPU; empty when the library did not supply them.
std::optional<std::vector<std::uint32_t>> activeVgpuIds();
std::optional<std::string> vgpuVmName(std::uint32_t id);
std::optional<std::string> vgpuTypeName(std::uint32_t id);
std::optional<std::uint64_t> vgpuMemoryUsed(std::uint32_t id);  // bytes

// Every sample that the library holds.
std::vector<VgpuSample> readVgpuSamples();
std::vector<VgpuProcessSample> readVgpuProcessSamples();

enum class VgpuTypes { supported, creatable };
std::vector<VgpuType> readVgpuTypes(VgpuTypes which, VgpuDetail detail);

}  // namespace zanctl
