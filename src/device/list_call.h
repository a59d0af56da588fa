// How a reader gets a list of the library whole: it asks for the size, makes room and asks again.
#pragma once

#include "zanml/zanml.h"

#include <algorithm>
#include <cstddef>
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
      return list;
    }
    if (!list.outgrown) break;
  }
  list.entries.clear();
  return list;
}

// The same, with the size asked first: `call(count, entries)` with a count of 0 and no entries.
// Some libraries call the question for the size itself a success.
template <typename Entry, typename ListCall>
std::vector<Entry> readList(const ListCall& call) {
  unsigned int size = 0;
  const nvmlReturn_t answer = call(&size, nullptr);
  if (answer != NVML_SUCCESS && answer != NVML_ERROR_INSUFFICIENT_SIZE) return {};
  return size == 0 ? std::vector<Entry>() : readListOfSize<Entry>(call, size).entries;
}

}  // namespace zanctl
