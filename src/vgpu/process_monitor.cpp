#include "vgpu/views.h"

#include <fmt/ostream.h>

#include <ostream>

namespace zanctl {
namespace {

void writeProcess(std::ostream& out, std::uint32_t gpu, const VgpuProcessSample& sample) {
  const VgpuUtilization& utilization = sample.utilization;
  fmt::print(out, "{:>5}       {:04x}{:>11}{:>6}{:>6}{:>6}{:>6}   {}\n", gpu, sample.instanceId,
             sample.pid, utilization.sm, utilization.memory, utilization.encoder,
             utilization.decoder, sample.name);
}

}  // namespace

void writeProcessUtilizationHead(std::ostream& out, const VgpuView& /*view*/) {
  out << "# GPU       vGPU    process    sm   mem   enc   dec   process\n"
         "# Idx         Id         Id     %     %     %     %   name\n";
}

void writeProcessUtilization(std::ostream& out, std::uint32_t gpu, const VgpuView& view) {
  if (view.vgpuIds.empty()) {
    fmt::print(out, "{:>5}          -          -     -     -     -     -   -\n", gpu);
  }
  std::unordered_map<std::uint32_t, std::vector<const VgpuProcessSample*>> samples;
  for (const VgpuProcessSample& sample : view.processSamples) {
    if (!sample.name.empty()) samples[sample.instanceId].push_back(&sample);
  }
  for (const std::uint32_t id : view.vgpuIds) {
    const auto own = samples.find(id);
    if (own == samples.end()) {
      fmt::print(out, "{:>5}       {:04x}          -     -     -     -     -   -\n", gpu, id);
      continue;
    }
    for (const VgpuProcessSample* sample : own->second) writeProcess(out, gpu, *sample);
  }
}

}  // namespace zanctl
