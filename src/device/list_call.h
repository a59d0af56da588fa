// How a reader gets a list of the library whole: it asks for the size, makes room and asks again.
#pragma once

#include "zanml/zanml.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace zanctl {

// A library that asks for more room than this is out of its mind. Enough for an entry of every
// process that the kernel can number.
inline constexpr std::size_t kMaxListBytes = sizeof(nvmlProcessInfo_t) << 22U;
inline constexpr int kMaxListAttempts = 4;

template <typename Entry>
struct ListAnswer {
  std::vector<Entry> entries;  // empty when the list cannot be read
  bool outgrown = false;       // the library always had more than there was room for
  bool read = false;
};

// Asks with room for `size` entries. Entries come and go between the calls, so the room that the
// library asks for is offered again while it is too small.
template <typename Entry, typename ListCall>
ListAnswer<Entry> readListOfSize(const ListCall& call, unsigned int size) {
  // NOLINTNEXTLINE(bugprone-sizeof-expression): a list of handles is a list of pointers
  constexpr std::size_t kMaxEntries = kMaxListBytes / sizeof(Entry);
  ListAnswer<Entry> list;
  for (int attempt = 0; attempt < kMaxListAttempts && size <= kMaxEntries; ++attempt) {
    list.entries.assign(size, {});
    const nvmlReturn_t answer = call(&size, list.entries.data());
    list.outgrown = answer == NVML_ERROR_INSUFFICIENT_SIZE;
    if (answer == NVML_SUCCESS) {
      list.entries.resize(std::min<std::size_t>(size, list.entries.size()));
      list.read = true;
      return list;
    }
    if (!list.outgrown) break;
  }
  list.entries.clear();
  return list;
}

// The same, with the size asked first: `call(count, entries)` with a count of 0 and no entries.
// Some libraries call the question for the size itself a success. No value when unavailable.
template <typename Entry, typename ListCall>
std::optional<std::vector<Entry>> readListIfAny(const ListCall& call) {
  unsigned int size = 0;
  const nvmlReturn_t answer = call(&size, nullptr);
  if (answer != NVML_SUCCESS && answer != NVML_ERROR_INSUFFICIENT_SIZE) return std::nullopt;
  if (size == 0) return std::vector<Entry>();
  auto list = readListOfSize<Entry>(call, size);
  return list.read ? std::optional(std::move(list.entries)) : std::nullopt;
}

// The same; empty when unavailable.
template <typename Entry, typename ListCall>
std::vector<Entry> readList(const ListCall& call) {
  return readListIfAny<Entry>(call).value_or(std::vector<Entry>());
}

}  // namespace zanctl
