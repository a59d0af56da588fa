#include "reports/gpu_list.h"

#include "device/readers.h"
#include "device/session.h"

#include <fmt/ostream.h>

#include <ostream>

namespace zanctl {

void printGpuList(std::ostream& out) {
  for (std::uint32_t index = 0; index < session().deviceCount; ++index) {
    session().currentDevice = index;
    const DeviceInfo info = reader().readDeviceInfo();
    fmt::print(out, "GPU {:>2}: {} (UUID: {})\n", index, info.name, info.uuid);
  }
}

}  // namespace zanctl
