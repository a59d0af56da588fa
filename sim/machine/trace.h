// The call trace: one line per call, written at once, so that the lines of several processes stand
// whole in one file.
#pragma once

#include "description/operations.h"

#include <bit>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <type_traits>

namespace zansim {

// What a call was given: a number, a list's size on entry, or a handle.
struct TraceArgument {
  template <typename Number>
  requires(std::is_integral_v<Number> || std::is_enum_v<Number>) TraceArgument(Number number)
      : value(static_cast<std::uint64_t>(number)) {}
  TraceArgument(const unsigned int* count) : value(count == nullptr ? 0 : *count) {}
  TraceArgument(nvmlDevice_t device)
      : value(std::bit_cast<std::uintptr_t>(device)), isHandle(true) {}

  std::uint64_t value;
  bool isHandle = false;
};

using TraceArguments = std::initializer_list<TraceArgument>;

// Appends a line to the file. Handles are shown as the GPUs that they stand for in the session of
// this process.
void writeTrace(const std::string& path, Operation operation, TraceArguments arguments,
                nvmlReturn_t code);

}  // namespace zansim
