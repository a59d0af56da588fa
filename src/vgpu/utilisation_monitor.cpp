#include "output/text.h"
#include "vgpu/views.h"

namespace zanctl {

void writeUtilizationHead(std::string& text, const VgpuView& /*view*/) {
  join(text,
       "# GPU       vGPU    sm   mem   enc   dec\n"
       "# Idx         Id     %     %     %     %\n");
}

void writeUtilization(std::string& text, std::uint32_t gpu, const VgpuView& view) {
  if (view.samples.empty())
    append(text, FMT_COMPILE("{:>5}          -     -     -     -     -\n"), gpu);
  for (const auto& [instanceId, utilization] : view.samples) {
    append(text, FMT_COMPILE("{:>5}       {:04x}{:>6}{:>6}{:>6}{:>6}\n"), gpu, instanceId,
           utilization.sm, utilization.memory, utilization.encoder, utilization.decoder);
  }
}

}  // namespace zanctl
