// The entry that libFuzzer calls.
#include "target.h"

#include <cstddef>
#include <cstdint>

// NOLINTNEXTLINE(readability-identifier-naming)  the name is libFuzzer's
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::examine({reinterpret_cast<const char*>(data), size});
  return 0;
}
