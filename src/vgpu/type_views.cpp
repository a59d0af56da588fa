#include "device/format.h"
#include "output/labelled_lines.h"
#include "output/text.h"
#include "vgpu/views.h"

namespace zanctl {
namespace {

template <typename WriteType>
void writeEachType(std::string& text, const VgpuView& view, const WriteType& writeType) {
  join(text, "GPU: ", busIdText(view.pci), "\n");
  if (view.types.empty()) join(text, "No vGPUs found on this device\n");
  for (const VgpuType& type : view.types) writeType(type);
}

}  // namespace

void writeTypeNames(std::string& text, std::uint32_t /*gpu*/, const VgpuView& view) {
  writeEachType(text, view, [&text](const VgpuType& type) { writeHeading(text, 1, type.name); });
}

void writeTypes(std::string& text, std::uint32_t /*gpu*/, const VgpuView& view) {
  writeEachType(text, view, [&text](const VgpuType& type) {
    writeLine(text, 1, "vGPU Type ID", "0x" + std::string(Hexadecimal(type.id)));
    writeLine(text, 2, "Name", type.name);
    writeLine(text, 2, "Class", type.typeClass);
    writeLine(text, 2, "Max Instances", Decimal(type.maxInstances));
    writeLine(text, 2, "Device ID", "0x" + hexText(type.deviceId, 8));
    writeLine(text, 2, "Sub System ID", "0x" + hexText(type.subsystemId, 8));
  });
}

}  // namespace zanctl
