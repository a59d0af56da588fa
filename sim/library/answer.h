// Writes answers into the caller's memory by the library's conventions. What cannot be written is
// thrown as a return code.
#pragma once

#include "library/call.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace zansim {

// Where the caller wants an answer.
template <typename Target>
Target& required(Target* target) {
  if (target == nullptr) throw NVML_ERROR_INVALID_ARGUMENT;
  return *target;
}

// Writes a text and its NUL into a buffer of `length` bytes.
void writeText(std::string_view value, char* text, unsigned int length);
void writeText(const TextSource& source, char* text, unsigned int length);

// The same where the size is asked and answered in one place; the answer counts the NUL.
void writeSizedText(const TextSource& source, char* text, unsigned int* size);

// The value of a source at this moment. `owner` tells apart the GPUs that share a signal.
std::uint64_t valueOf(const NumberSource& source, unsigned owner);
std::uint64_t valueOf(const Call& call, Number attribute);

// The attribute that a selector of the library names.
template <std::size_t Size>
Number chosen(const std::array<Number, Size>& attributes, int selector) {
  const auto index = static_cast<std::size_t>(selector);
  if (selector < 0 || index >= Size) throw NVML_ERROR_INVALID_ARGUMENT;
  return attributes[index];
}

// Writes into a number or an enumeration of the library. Values beyond the range are wanted: a
// description may ask for what no enumerator names.
template <typename Target>
void writeValue(std::uint64_t value, Target* target) {
  required(target) = static_cast<Target>(value);
}

// The same for an attribute of the GPU; what the caller has done wrong comes before what the GPU
// cannot tell.
template <typename Target>
void writeNumber(const Call& call, Number attribute, Target* target) {
  required(target);
  writeValue(valueOf(call, attribute), target);
}

// Writes the two parts of a number like "8.0".
template <typename Target>
void writePair(std::uint64_t pair, Target* first, Target* second) {
  required(second) = static_cast<Target>(secondOf(pair));
  required(first) = static_cast<Target>(firstOf(pair));
}

// A list in two calls: `entry(i)` gives the i-th of `size` entries. A fault may have made the list
// grow meanwhile; the last entry then stands for the new ones.
template <typename Entry, typename EntryAt>
void writeList(const Call& call, std::size_t size, unsigned int* count, Entry* entries,
               EntryAt entryAt) {
  const unsigned grown = entries == nullptr ? call.outcome.growSize : call.outcome.growList;
  const unsigned available = static_cast<unsigned>(size) + grown;
  const unsigned room = std::exchange(required(count), available);
  if (available > room) throw NVML_ERROR_INSUFFICIENT_SIZE;
  if (available > 0) required(entries);
  for (unsigned i = 0; i < available; ++i) {
    entries[i] = size == 0 ? Entry{} : entryAt(std::min<std::size_t>(i, size - 1));
  }
}

}  // namespace zansim
