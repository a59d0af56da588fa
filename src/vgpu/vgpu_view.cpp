#include "vgpu/vgpu_view.h"

#include "device/attributes.h"
#include "device/records.h"
#include "device/session.h"
#include "device/vgpu_readers.h"

namespace zanctl {

VgpuView collectVgpuView(std::uint32_t parts, std::time_t time) {
  const auto needs = [parts](ViewPart part) { return (parts & part) != 0; };
  VgpuView view{};
  view.time = time;
  if (needs(kVersions)) {
    view.driverVersion = driverVersion();
    view.libraryVersion = libraryVersion();
  }
  if (needs(kIdentity)) {
    view.name = attributes::name().value_or(kUnavailableText);
    view.gpuUtilization = attributes::utilization().value_or(nvmlUtilization_t{}).gpu;
  }
  const VgpuDetail detail = needs(kNamesAlone) ? VgpuDetail::names : VgpuDetail::all;
  if (needs(kPci)) view.pci = attributes::pci().value_or(nvmlPciInfo_t{});
  if (needs(kVgpuIds)) view.vgpuIds = readVgpuIds();
  if (needs(kInstances)) view.instances = readVgpuInstances(detail);
  if (needs(kSamples)) view.samples = readVgpuSamples();
  if (needs(kProcessSamples)) view.processSamples = readVgpuProcessSamples();
  if (needs(kSupportedTypes)) view.types = readVgpuTypes(VgpuTypes::supported, detail);
  if (needs(kCreatableTypes)) view.types = readVgpuTypes(VgpuTypes::creatable, detail);
  return view;
}

LatestSamples latestSamples(const std::vector<VgpuSample>& samples) {
  LatestSamples latest;
  for (const VgpuSample& sample : samples) latest[sample.instanceId] = sample.utilization;
  return latest;
}

}  // namespace zanctl
