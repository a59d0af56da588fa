#include "device/host.h"

#include <gtest/gtest.h>

#include <array>
#include <initializer_list>
#include <vector>

namespace zanctl {
namespace {

std::string listOf(std::initializer_list<unsigned> bits, std::size_t wordCount = 1) {
  std::vector<std::uint64_t> words(wordCount);
  for (const unsigned bit : bits) words[bit / 64] |= std::uint64_t{1} << (bit % 64);
  return formatCpuSet(words);
}

TEST(CpuSet, writesRunsOfThreeOrMoreAsRanges) {
  EXPECT_EQ(listOf({}), "");
  EXPECT_EQ(listOf({0}), "0");
  EXPECT_EQ(listOf({0, 1}), "0,1");
  EXPECT_EQ(listOf({0, 1, 2}), "0-2");
  EXPECT_EQ(listOf({0, 1, 2, 3, 8, 10, 11}), "0-3,8,10,11");
  EXPECT_EQ(listOf({0, 1, 4, 5, 6, 7}), "0,1,4-7");
}

TEST(CpuSet, carriesRunsAcrossWords) {
  EXPECT_EQ(listOf({63, 64}, 2), "63,64");
  EXPECT_EQ(listOf({62, 63, 64}, 2), "62-64");
  EXPECT_EQ(listOf({127}, 2), "127");
  EXPECT_EQ(formatCpuSet(std::array<std::uint64_t, 3>{~0ULL, ~0ULL, ~0ULL}), "0-191");
  EXPECT_EQ(formatCpuSet({}), "");
}

}  // namespace
}  // namespace zanctl
