#include "vgpu/views.h"

#include <fmt/ostream.h>

#include <ostream>

namespace zanctl {

void writeUtilizationHead(std::ostream& out, const VgpuView& /*view*/) {
  out << "# GPU       vGPU    sm   mem   enc   dec\n"
         "# Idx         Id     %     %     %     %\n";
}

void writeUtilization(std::ostream& out, std::uint32_t gpu, const VgpuView& view) {
  if (view.samples.empty()) fmt::print(out, "{:>5}          -     -     -     -     -\n", gpu);
  for (const auto& [instanceId, utilization] : view.samples) {
    fmt::print(out, "{:>5}       {:04x}{:>6}{:>6}{:>6}{:>6}\n", gpu, instanceId, utilization.sm,
               utilization.memory, utilization.encoder, utilization.decoder);
  }
}

}  // namespace zanctl
