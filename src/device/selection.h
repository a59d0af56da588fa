// The GPUs that a command works on: from identifiers to indices, and the walk over them.
#pragma once

#include "device/session.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string_view>

namespace zanctl {

// GPU indices, ascending; empty means every GPU.
using DeviceSet = std::set<std::int32_t>;

struct BusId {
  std::uint64_t domain = 0;
  std::uint64_t bus = 0;
  std::uint64_t device = 0;

  friend bool operator==(const BusId&, const BusId&) = default;
};

// "[[domain:]bus:]device.function" in hexadecimal digits; empty for any other text.
std::optional<BusId> parseBusId(std::string_view text);

bool isSelected(const DeviceSet& selection, std::uint32_t index);

// The index of the GPU that a decimal or hexadecimal index, a UUID or a PCI bus id names; negative
// when there is none. Needs the open session.
std::int32_t resolveDeviceId(std::string_view text);

// Makes each selected GPU the current one, in the order of their indices, and calls
// `visit(index)`.
template <typename Visit>
void forEachDevice(const DeviceSet& selection, const Visit& visit) {
  const std::uint32_t count = session().deviceCount;
  for (std::uint32_t index = 0; index < count; ++index) {
    if (!isSelected(selection, index)) continue;
    session().currentDevice = index;
    visit(index);
  }
}

}  // namespace zanctl
