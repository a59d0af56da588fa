// How a command line names GPUs: as that of zanctl does, by index, UUID or PCI bus id.
#pragma once

#include "collector/snapshot.h"

#include <cstdint>
#include <string_view>

namespace zanctl::collector {

// Whether the text is this index, in decimal or else in hexadecimal digits.
bool namesIndex(std::string_view id, std::uint32_t index);

// Whether the text names this GPU; by its index only while the library counts it.
bool isNamed(const Gpu& gpu, std::string_view id);

}  // namespace zanctl::collector
