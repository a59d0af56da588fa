// Writes answers into the caller's memory by the library's conventions.
#pragma once

#include "library/call.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace zansim {

// Writes a text and its NUL into a buffer of `length` bytes.
nvmlReturn_t writeText(std::string_view value, char* text, unsigned int length);
nvmlReturn_t writeText(const TextSource& source, char* text, unsigned int length);

// The same where the size is asked and answered in one place; the answer counts the NUL.
nvmlReturn_t writeSizedText(const TextSource& source, char* text, unsigned int* size);

// The value of a source now. `owner` tells apart the GPUs that share a signal.
nvmlReturn_t readSource(const NumberSource& source, unsigned owner, unsigned long long& value);

nvmlReturn_t readNumber(const Call& call, Number attribute, unsigned long long& value);

// Writes a source into a number or an enumeration of the library.
template <typename Target>
nvmlReturn_t writeSource(const NumberSource& source, unsigned owner, Target* target) {
  if (target == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
  unsigned long long value = 0;
  const nvmlReturn_t code = readSource(source, owner, value);
  // Values beyond the range are wanted: a description may ask for what no enumerator names.
  if (code == NVML_SUCCESS) *target = static_cast<Target>(value);
  return code;
}

// The attribute that a selector of the library names, or null.
template <std::size_t Size>
const Number* chosen(const std::array<Number, Size>& attributes, int selector) {
  const auto index = static_cast<std::size_t>(selector);
  return selector >= 0 && index < Size ? &attributes[index] : nullptr;
}

// The same for an attribute of the GPU.
template <typename Target>
nvmlReturn_t writeNumber(const Call& call, Number attribute, Target* target) {
  if (target == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
  unsigned long long value = 0;
  const nvmlReturn_t code = readNumber(call, attribute, value);
  if (code == NVML_SUCCESS) *target = static_cast<Target>(value);
  return code;
}

// Writes the two parts of a number like "8.0".
template <typename Target>
nvmlReturn_t writePair(const Call& call, Number attribute, Target* first, Target* second) {
  if (first == nullptr || second == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
  unsigned long long value = 0;
  const nvmlReturn_t code = readNumber(call, attribute, value);
  if (code != NVML_SUCCESS) return code;
  *first = static_cast<Target>(firstOf(value));
  *second = static_cast<Target>(secondOf(value));
  return NVML_SUCCESS;
}

// A list in two calls: `entry(i)` gives the i-th of `size` entries. A fault may have made the list
// grow meanwhile; the last entry then stands for the new ones.
template <typename Entry, typename EntryAt>
nvmlReturn_t writeList(const Call& call, std::size_t size, unsigned int* count, Entry* entries,
                       EntryAt entryAt) {
  if (count == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
  const unsigned grown = entries == nullptr ? call.outcome.growSize : call.outcome.growList;
  const unsigned available = static_cast<unsigned>(size) + grown;
  const unsigned room = *count;
  if (available > room) {
    *count = available;
    return NVML_ERROR_INSUFFICIENT_SIZE;
  }
  if (available > 0 && entries == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
  for (unsigned i = 0; i < available; ++i) {
    entries[i] = size == 0 ? Entry{} : entryAt(std::min<std::size_t>(i, size - 1));
  }
  *count = available;
  return NVML_SUCCESS;
}

}  // namespace zansim
