#include "device/format.h"
#include "output/labelled_lines.h"
#include "output/text.h"
#include "vgpu/views.h"

namespace zanctl {
namespace {

template <typename WriteType>
void writeEachType(std::string& text, const VgpuView& view, const WriteType& writeType) {
  append(text, FMT_COMPILE("GPU: {}\n"), busIdText(view.pci));
  if (view.types.empty()) join(text, "No vGPUs found on this device\n");
  for (const VgpuType& type : view.types) writeType(type);
}

}  // namespace

void writeTypeNames(std::string& text, std::uint32_t /*gpu*/, const VgpuView& view) {
  writeEachType(text, view, [&text](const VgpuType& type) { writeHeading(text, 1, type.name); });
}

void writeTypes(std::string& text, std::uint32_t /*gpu*/, const VgpuView& view) {
  writeEachType(text, view, [&text](const VgpuType& type) {
    writeLine(text, 1, "vGPU Type ID", fmt::format(FMT_COMPILE("0x{:x}"), type.id));
    writeLine(text, 2, "Name", type.name);
    writeLine(text, 2, "Class", type.typeClass);
    writeLine(text, 2, "Max Instances", fmt::to_string(type.maxInstances));
    writeLine(text, 2, "Device ID", fmt::format(FMT_COMPILE("0x{:08X}"), type.deviceId));
    writeLine(text, 2, "Sub System ID", fmt::format(FMT_COMPILE("0x{:08X}"), type.subsystemId));
  });
}

}  // namespace zanctl
