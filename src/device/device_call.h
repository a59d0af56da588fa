// How a reader turns one library call on the current GPU into a value, or into nothing where the
// call fails.
#pragma once

#include "device/session.h"
#include "device/text.h"

#include <array>
#include <optional>
#include <string>

#include <string.h>

namespace zanctl {

// Reads the one value that the operation writes behind its other arguments.
template <typename Value, typename Function, typename... Inputs>
std::optional<Value> readValue(const Operation<Function>& operation, Inputs... inputs) {
  Value value{};
  if (callOnCurrentDevice(operation, inputs..., &value) != NVML_SUCCESS) return std::nullopt;
  return value;
}

template <unsigned int size>
std::optional<std::string> readText(
    const Operation<nvmlReturn_t(nvmlDevice_t, char*, unsigned int)>& operation) {
  std::array<char, size> text{};
  if (callOnCurrentDevice(operation, text.data(), size) != NVML_SUCCESS) return std::nullopt;
  return cleanText({text.data(), strnlen(text.data(), size)});
}

}  // namespace zanctl
