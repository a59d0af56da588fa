// What the views of the vgpu subcommand show of one GPU.
#pragma once

#include "device/vgpu_records.h"
#include "zanml/zanml.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <unordered_map>
#include <vector>

namespace zanctl {

// What of the record a view needs; nothing else is read.
enum ViewPart : std::uint32_t {
  kVersions = 1U << 0U,
  kIdentity = 1U << 1U,  // name and utilisation
  kPci = 1U << 2U,
  kVgpuIds = 1U << 3U,
  kInstances = 1U << 4U,
  kSamples = 1U << 5U,
  kProcessSamples = 1U << 6U,
  kSupportedTypes = 1U << 7U,
  kCreatableTypes = 1U << 8U,
  kNamesAlone = 1U << 9U,  // of instances and types no more than the list and the brief view show
};

struct VgpuView {
  std::time_t time;  // the start of the pass
  std::string driverVersion;
  std::string libraryVersion;
  std::string name;
  nvmlPciInfo_t pci;             // zeroed when unavailable
  std::uint32_t gpuUtilization;  // percent; 0 when unavailable
  std::vector<std::uint32_t> vgpuIds;
  std::vector<VgpuInstance> instances;
  std::vector<VgpuSample> samples;
  std::vector<VgpuProcessSample> processSamples;
  std::vector<VgpuType> types;  // the supported or the creatable ones
};

// Reads the current GPU. `parts` is a set of ViewPart.
VgpuView collectVgpuView(std::uint32_t parts, std::time_t time);

// The latest sample of each instance, by its id.
using LatestSamples = std::unordered_map<std::uint32_t, VgpuUtilization>;
LatestSamples latestSamples(const std::vector<VgpuSample>& samples);

}  // namespace zanctl
