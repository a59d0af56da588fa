#include "device/format.h"
#include "output/labelled_lines.h"
#include "output/text.h"
#include "vgpu/views.h"

namespace zanctl {
namespace {

void writeInstance(std::string& text, const VgpuInstance& instance,
                   const VgpuUtilization& utilization) {
  std::string id;
  alignRight(id, 4, Hexadecimal(instance.id), '0');
  writeLine(text, 1, "vGPU ID", id);
  writeLine(text, 2, "VM UUID", instance.vmUuid);
  writeLine(text, 2, "VM Name", instance.vmName);
  writeLine(text, 2, "vGPU Name", instance.typeName);
  writeLine(text, 2, "vGPU UUID", instance.uuid);
  writeLine(text, 2, "MDEV UUID", instance.mdevUuid);
  writeLine(text, 2, "Guest Driver Version", instance.guestDriverVersion);
  writeLine(text, 2, "ECC Mode", instance.eccMode != 0 ? "Enabled" : "Disabled");
  writeHeading(text, 2, "PCI");
  writeLine(text, 3, "Bus Id", instance.busId);
  writeHeading(text, 2, "Memory Usage");
  writeLine(text, 3, "Total", Decimal(instance.memoryTotal), " MiB");
  writeLine(text, 3, "Used", Decimal(instance.memoryUsed), " MiB");
  writeLine(text, 3, "Free", Decimal(instance.memoryFree), " MiB");
  writeHeading(text, 2, "Utilization");
  writeLine(text, 3, "Gpu", Decimal(utilization.sm), " %");
  writeLine(text, 3, "Memory", Decimal(utilization.memory), " %");
  writeLine(text, 3, "Encoder", Decimal(utilization.encoder), " %");
  writeLine(text, 3, "Decoder", Decimal(utilization.decoder), " %");
}

}  // namespace

void writeVgpuQuery(std::string& text, std::uint32_t /*gpu*/, const VgpuView& view) {
  join(text, "GPU: ", busIdText(view.pci), "\n");
  // Hexadecimal, like the ids below it.
  writeLine(text, 1, "Active vGPUs", Hexadecimal(view.instances.size()));
  const LatestSamples samples = latestSamples(view.samples);
  for (const VgpuInstance& instance : view.instances) {
    const auto sample = samples.find(instance.id);
    writeInstance(text, instance, sample == samples.end() ? VgpuUtilization{} : sample->second);
  }
}

}  // namespace zanctl
