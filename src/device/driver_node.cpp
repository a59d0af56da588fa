#include "device/driver_node.h"

#include <cstdlib>
#include <memory>
#include <string_view>

#include <dirent.h>

namespace zanctl {
namespace {

constexpr const char* kDeviceNodes = "/dev";
constexpr std::string_view kNodePrefix = "zanthe";

// "zanthe" followed by a decimal number.
bool isDriverNode(std::string_view name) {
  if (!name.starts_with(kNodePrefix)) return false;
  const char* number = name.data() + kNodePrefix.size();
  char* end = nullptr;
  std::strtol(number, &end, 10);
  return end != number;
}

}  // namespace

DriverNode findDriverNode() {
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(kDeviceNodes), closedir);
  if (directory == nullptr) return DriverNode::unknown;
  while (const dirent* entry = readdir(directory.get())) {
    if (isDriverNode(entry->d_name)) return DriverNode::present;
  }
  return DriverNode::missing;
}

}  // namespace zanctl
