#include "description/operations.h"

namespace zansim {

namespace {

bool matches(std::string_view text, std::string_view pattern) {
  // Greedy matching that falls back to the last star: linear in practice, never exponential.
  std::size_t t = 0;
  std::size_t p = 0;
  std::size_t star = std::string_view::npos;
  std::size_t resume = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (p < pattern.size() && pattern[p] == text[t]) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

}  // namespace

OperationSet operationsMatching(std::string_view pattern) {
  OperationSet set;
  for (std::size_t i = 0; i < kOperationCount; ++i) {
    if (matches(kOperationNames[i], pattern)) set.set(i);
  }
  return set;
}

}  // namespace zansim
