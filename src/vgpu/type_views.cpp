#include "device/format.h"
#include "output/labelled_lines.h"
#include "vgpu/views.h"

#include <fmt/ostream.h>

namespace zanctl {
namespace {

template <typename WriteType>
void writeEachType(std::ostream& out, const VgpuView& view, const WriteType& writeType) {
  fmt::print(out, "GPU: {}\n", busIdText(view.pci));
  if (view.types.empty()) out << "No vGPUs found on this device\n";
  for (const VgpuType& type : view.types) writeType(type);
}

}  // namespace

void writeTypeNames(std::ostream& out, std::uint32_t /*gpu*/, const VgpuView& view) {
  writeEachType(out, view, [&out](const VgpuType& type) { writeHeading(out, 1, type.name); });
}

void writeTypes(std::ostream& out, std::uint32_t /*gpu*/, const VgpuView& view) {
  writeEachType(out, view, [&out](const VgpuType& type) {
    writeLine(out, 1, "vGPU Type ID", fmt::format("0x{:x}", type.id));
    writeLine(out, 2, "Name", type.name);
    writeLine(out, 2, "Class", type.typeClass);
    writeLine(out, 2, "Max Instances", fmt::to_string(type.maxInstances));
    writeLine(out, 2, "Device ID", fmt::format("0x{:08X}", type.deviceId));
    writeLine(out, 2, "Sub System ID", fmt::format("0x{:08X}", type.subsystemId));
  });
}

}  // namespace zanctl
