// --ce: sets the copy-engine operation mask of GPUs.
#pragma once

#include "cli/selection.h"

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace zanctl {

// 0 when the mask was set on every selected GPU, -1 when it was refused or a GPU did not take it.
[[nodiscard]] int setCeMaskOnGpus(const std::string& maskText, const DeviceSet& selection,
                                  std::ostream& out);

// Hexadecimal digits, of which there may be none, or "0x" and at least one.
bool isHexText(std::string_view text);

// The value of such a text; empty when it does not fit 32 bits.
std::optional<std::uint32_t> hexValue(std::string_view text);

}  // namespace zanctl
