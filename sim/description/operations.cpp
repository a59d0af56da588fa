#include "description/operations.h"

#include <fnmatch.h>

namespace zansim {

OperationSet operationsMatching(const std::string& pattern) {
  OperationSet set;
  for (std::size_t i = 0; i < kOperationCount; ++i) {
    set[i] = fnmatch(pattern.c_str(), kOperationNames[i].data(), 0) == 0;
  }
  return set;
}

}  // namespace zansim
