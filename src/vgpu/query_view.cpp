#include "device/format.h"
#include "output/labelled_lines.h"
#include "vgpu/views.h"

#include <fmt/ostream.h>

namespace zanctl {
namespace {

std::string mebibytes(std::uint64_t value) { return fmt::format("{} MiB", value); }
std::string percent(std::uint32_t value) { return fmt::format("{} %", value); }

void writeInstance(std::ostream& out, const VgpuInstance& instance,
                   const VgpuUtilization& utilization) {
  writeLine(out, 1, "vGPU ID", fmt::format("{:04x}", instance.id));
  writeLine(out, 2, "VM UUID", instance.vmUuid);
  writeLine(out, 2, "VM Name", instance.vmName);
  writeLine(out, 2, "vGPU Name", instance.typeName);
  writeLine(out, 2, "vGPU UUID", instance.uuid);
  writeLine(out, 2, "MDEV UUID", instance.mdevUuid);
  writeLine(out, 2, "Guest Driver Version", instance.guestDriverVersion);
  writeLine(out, 2, "ECC Mode", instance.eccMode != 0 ? "Enabled" : "Disabled");
  writeHeading(out, 2, "PCI");
  writeLine(out, 3, "Bus Id", instance.busId);
  writeHeading(out, 2, "Memory Usage");
  writeLine(out, 3, "Total", mebibytes(instance.memoryTotal));
  writeLine(out, 3, "Used", mebibytes(instance.memoryUsed));
  writeLine(out, 3, "Free", mebibytes(instance.memoryFree));
  writeHeading(out, 2, "Utilization");
  writeLine(out, 3, "Gpu", percent(utilization.sm));
  writeLine(out, 3, "Memory", percent(utilization.memory));
  writeLine(out, 3, "Encoder", percent(utilization.encoder));
  writeLine(out, 3, "Decoder", percent(utilization.decoder));
}

}  // namespace

void writeVgpuQuery(std::ostream& out, std::uint32_t /*gpu*/, const VgpuView& view) {
  fmt::print(out, "GPU: {}\n", busIdText(view.pci));
  // The count has always been hexadecimal, and scripts have come to read it so.
  writeLine(out, 1, "Active vGPUs", fmt::format("{:x}", view.instances.size()));
  const LatestSamples samples = latestSamples(view.samples);
  for (const VgpuInstance& instance : view.instances) {
    const auto sample = samples.find(instance.id);
    writeInstance(out, instance, sample == samples.end() ? VgpuUtilization{} : sample->second);
  }
}

}  // namespace zanctl
