#include "output/text.h"
#include "vgpu/views.h"

#include <array>

namespace zanctl {

void writeUtilizationHead(std::string& text, const VgpuView& /*view*/) {
  join(text,
       "# GPU       vGPU    sm   mem   enc   dec\n"
       "# Idx         Id     %     %     %     %\n");
}

void writeVgpuCells(std::string& text, std::uint32_t gpu, std::uint32_t vgpuId) {
  alignRight(text, 5, Decimal(gpu));
  join(text, "       ");
  alignRight(text, 4, Hexadecimal(vgpuId), '0');
}

void writeUtilizationCells(std::string& text, const VgpuUtilization& utilization) {
  alignNumbers(
      text, 6,
      std::array{utilization.sm, utilization.memory, utilization.encoder, utilization.decoder});
}

void writeUtilization(std::string& text, std::uint32_t gpu, const VgpuView& view) {
  if (view.samples.empty()) {
    alignRight(text, 5, Decimal(gpu));
    join(text, "          -     -     -     -     -\n");
  }
  for (const auto& [instanceId, utilization] : view.samples) {
    writeVgpuCells(text, gpu, instanceId);
    writeUtilizationCells(text, utilization);
    join(text, "\n");
  }
}

}  // namespace zanctl
