#include "output/text.h"
#include "vgpu/views.h"

#include <utility>

namespace zanctl {
namespace {

void writeProcess(std::string& text, std::uint32_t gpu, const VgpuProcessSample& sample) {
  writeVgpuCells(text, gpu, sample.instanceId);
  alignRight(text, 11, Decimal(sample.pid));
  writeUtilizationCells(text, sample.utilization);
  join(text, "   ", sample.name, "\n");
}

}  // namespace

void writeProcessUtilizationHead(std::string& text, const VgpuView& /*view*/) {
  join(text,
       "# GPU       vGPU    process    sm   mem   enc   dec   process\n"
       "# Idx         Id         Id     %     %     %     %   name\n");
}

void writeProcessUtilization(std::string& text, std::uint32_t gpu, const VgpuView& view) {
  if (view.vgpuIds.empty()) {
    alignRight(text, 5, Decimal(gpu));
    join(text, "          -          -     -     -     -     -   -\n");
  }
  std::unordered_map<std::uint32_t, std::vector<const VgpuProcessSample*>> samples;
  for (const VgpuProcessSample& sample : view.processSamples) {
    if (!sample.name.empty()) samples[sample.instanceId].push_back(&sample);
  }
  for (const std::uint32_t id : view.vgpuIds) {
    const auto own = samples.find(id);
    if (own == samples.end()) {
      writeVgpuCells(text, gpu, id);
      join(text, "          -     -     -     -     -   -\n");
      continue;
    }
    // Once, also where a library lists a vGPU again and again.
    for (const VgpuProcessSample* sample : std::exchange(own->second, {})) {
      writeProcess(text, gpu, *sample);
    }
  }
}

}  // namespace zanctl
