#include "output/text.h"
#include "vgpu/views.h"

namespace zanctl {
namespace {

void writeProcess(std::string& text, std::uint32_t gpu, const VgpuProcessSample& sample) {
  const VgpuUtilization& utilization = sample.utilization;
  append(text, FMT_COMPILE("{:>5}       {:04x}{:>11}{:>6}{:>6}{:>6}{:>6}   {}\n"), gpu,
         sample.instanceId, sample.pid, utilization.sm, utilization.memory, utilization.encoder,
         utilization.decoder, sample.name);
}

}  // namespace

void writeProcessUtilizationHead(std::string& text, const VgpuView& /*view*/) {
  join(text,
       "# GPU       vGPU    process    sm   mem   enc   dec   process\n"
       "# Idx         Id         Id     %     %     %     %   name\n");
}

void writeProcessUtilization(std::string& text, std::uint32_t gpu, const VgpuView& view) {
  if (view.vgpuIds.empty()) {
    append(text, FMT_COMPILE("{:>5}          -          -     -     -     -     -   -\n"), gpu);
  }
  std::unordered_map<std::uint32_t, std::vector<const VgpuProcessSample*>> samples;
  for (const VgpuProcessSample& sample : view.processSamples) {
    if (!sample.name.empty()) samples[sample.instanceId].push_back(&sample);
  }
  for (const std::uint32_t id : view.vgpuIds) {
    const auto own = samples.find(id);
    if (own == samples.end()) {
      append(text, FMT_COMPILE("{:>5}       {:04x}          -     -     -     -     -   -\n"), gpu,
             id);
      continue;
    }
    for (const VgpuProcessSample* sample : own->second) writeProcess(text, gpu, *sample);
  }
}

}  // namespace zanctl
