// From the identifiers of -i to GPU indices. Every command resolves its list here.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <set>
#include <string>
#include <string_view>

namespace zanctl {

// GPU indices, ascending; empty means every GPU.
using DeviceSet = std::set<std::int32_t>;

bool isSelected(const DeviceSet& selection, std::uint32_t index);

// The index of the GPU that a decimal or hexadecimal index, a UUID or a PCI bus id names; negative
// when there is none. Needs the open session.
std::int32_t resolveDeviceId(std::string_view text);

// Resolves the comma-separated list of an -i option; an option that was not given selects every
// GPU. Returns 0, or -1 after saying that a piece, or the whole list, names no GPU.
[[nodiscard]] int resolveDevices(const std::string& idOption, DeviceSet& selection,
                                 std::ostream& out);

}  // namespace zanctl
