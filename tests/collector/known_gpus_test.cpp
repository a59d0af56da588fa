// Whom a round asks, in which order, and what is remembered of those that are gone.
#include "collector/known_gpus.h"

#include <gtest/gtest.h>

namespace zanctl::collector {
namespace {

using Indices = std::vector<std::uint32_t>;

TEST(KnownGpus, AreAskedInTheOrderOfTheirNeed) {
  KnownGpus known;
  known.missed(3);
  known.hung(1, Moment(5));
  EXPECT_EQ(known.order(5), (Indices{3, 0, 2, 4, 1}));
  EXPECT_TRUE(known.isBarred(1, Moment(60'004)));
  EXPECT_FALSE(known.isBarred(1, Moment(60'005)) || known.isBarred(3, Moment(5)));
  known.answered(3);
  EXPECT_EQ(known.order(5), (Indices{0, 2, 3, 4, 1}));
  known.answered(1);
  EXPECT_EQ(known.order(5), (Indices{0, 1, 2, 3, 4}));
}

std::vector<Gpu> oneGpu(std::string uuid, GpuState state) {
  std::vector<Gpu> gpus(1);
  gpus[0].state = state;
  gpus[0].uuid = std::move(uuid);
  return gpus;
}

TEST(KnownGpus, LeaveTheirUuidsAndFillNoMemory) {
  KnownGpus known;
  auto gpus = oneGpu("A", GpuState::up);
  known.complete(gpus);
  gpus = oneGpu("", GpuState::hung);
  known.complete(gpus);
  EXPECT_EQ(gpus.size(), 1U);
  EXPECT_EQ(gpus[0].uuid + known.uuidAt(0), "AA");
  gpus = oneGpu("B", GpuState::up);
  known.complete(gpus);
  ASSERT_EQ(gpus.size(), 2U) << "another one has taken its place";
  EXPECT_EQ(gpus[1].uuid, "A");
  EXPECT_TRUE(gpus[0].counted && !gpus[1].counted && gpus[1].state == GpuState::silent);
  for (int round = 0; round < 260; ++round) {
    gpus = oneGpu(std::to_string(round), GpuState::up);
    known.complete(gpus);
  }
  EXPECT_EQ(gpus.size(), 1U + 256U) << "and no more";
}

}  // namespace
}  // namespace zanctl::collector
