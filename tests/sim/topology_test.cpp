#include "library_test.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

namespace zansim {
namespace {

constexpr nvmlGpuTopologyLevel_t kLevels[] = {NVML_TOPOLOGY_INTERNAL, NVML_TOPOLOGY_SINGLE,
                                              NVML_TOPOLOGY_MULTIPLE, NVML_TOPOLOGY_HOSTBRIDGE,
                                              NVML_TOPOLOGY_NODE,     NVML_TOPOLOGY_SYSTEM};

class TopologyTest : public LibraryTest {
 protected:
  nvmlGpuTopologyLevel_t ancestor(unsigned a, unsigned b) {
    nvmlGpuTopologyLevel_t level = {};
    EXPECT_EQ(nvmlDeviceGetTopologyCommonAncestor(gpu(a), gpu(b), &level), NVML_SUCCESS);
    return level;
  }

  std::vector<unsigned> indices(const std::vector<nvmlDevice_t>& devices) {
    std::vector<unsigned> found;
    for (nvmlDevice_t device : devices) found.push_back(read(nvmlDeviceGetIndex, device));
    return found;
  }

  std::vector<unsigned> nearest(unsigned index, nvmlGpuTopologyLevel_t level) {
    return indices(list<nvmlDevice_t>([&](unsigned* count, nvmlDevice_t* devices) {
      return nvmlDeviceGetTopologyNearestGpus(gpu(index), level, count, devices);
    }));
  }

  std::vector<unsigned> nearCpu(unsigned cpu) {
    return indices(list<nvmlDevice_t>([&](unsigned* count, nvmlDevice_t* devices) {
      return nvmlSystemGetTopologyGpuSet(cpu, count, devices);
    }));
  }

  std::vector<unsigned> affinity(unsigned index) {
    unsigned long mask[4] = {~0UL, ~0UL, ~0UL, ~0UL};
    EXPECT_EQ(nvmlDeviceGetCpuAffinityWithinScope(gpu(index), 4, mask, NVML_AFFINITY_SCOPE_NODE),
              NVML_SUCCESS);
    std::vector<unsigned> cpus;
    for (unsigned cpu = 0; cpu < 256; ++cpu) {
      if ((mask[cpu / 64] >> cpu % 64 & 1U) != 0) cpus.push_back(cpu);
    }
    return cpus;
  }
};

TEST_F(TopologyTest, LevelsFollowThePlacement) {
  start(R"({"numa_nodes": [{}, {}], "gpus": [
    {"placement": "node0/bridge0/port0/switch0", "board": {"id": 5}},
    {"placement": "node0/bridge0/port0/switch0", "board": {"id": 5}},
    {"placement": "node0/bridge0/port0/switch0"},
    {"placement": "node0/bridge0/port0/switch1"},
    {"placement": {"numa_node": 0, "host_bridge": 0, "root_port": 1, "switch": 0}},
    {"placement": "node0/bridge1/port0/switch0"},
    {"placement": "node1/bridge0/port0/switch0"}]})");
  const nvmlGpuTopologyLevel_t kExpected[] = {NVML_TOPOLOGY_INTERNAL,   NVML_TOPOLOGY_INTERNAL,
                                              NVML_TOPOLOGY_SINGLE,     NVML_TOPOLOGY_MULTIPLE,
                                              NVML_TOPOLOGY_HOSTBRIDGE, NVML_TOPOLOGY_NODE,
                                              NVML_TOPOLOGY_SYSTEM};
  for (unsigned other = 0; other < 7; ++other) EXPECT_EQ(ancestor(0, other), kExpected[other]);
  EXPECT_EQ(nearest(0, NVML_TOPOLOGY_INTERNAL), std::vector<unsigned>{1});
  EXPECT_EQ(nearest(6, NVML_TOPOLOGY_NODE), std::vector<unsigned>{});
}

TEST_F(TopologyTest, ViewsOfAGeneratedMachineAgree) {
  std::mt19937 random(16);
  const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  for (int round = 0; round < 5; ++round) {
    std::string gpus;
    for (int i = 0; i < 16; ++i) {
      gpus += fmt::format(R"({}{{"placement": "node{}/bridge{}/port{}/switch{}"}})",
                          i == 0 ? "" : ",", below(3), below(2), below(2), below(2));
    }
    start(fmt::format(R"({{"gpus_per_board": {}, "numa_nodes": [{{"cpus": "0-1,70"}},
                          {{"cpus": "2-63,64-69"}}, {{"cpus": "100-199"}}], "gpus": [{}]}})",
                      round % 2 + 1, gpus));
    for (unsigned a = 0; a < 16; ++a) {
      std::set<unsigned> others;
      for (const nvmlGpuTopologyLevel_t level : kLevels) {
        for (const unsigned b : nearest(a, level)) {
          EXPECT_EQ(ancestor(a, b), level);
          EXPECT_TRUE(others.insert(b).second) << b << " is near at two levels";
        }
      }
      EXPECT_EQ(others.size(), 15U) << "every other GPU is near at some level";
      EXPECT_FALSE(others.contains(a));
      for (unsigned b = 0; b < 16; ++b) {
        EXPECT_EQ(ancestor(a, b), ancestor(b, a));
        const bool oneNode = affinity(a) == affinity(b);
        const nvmlGpuTopologyLevel_t level = ancestor(a, b);
        if (level != NVML_TOPOLOGY_INTERNAL) {
          EXPECT_EQ(level == NVML_TOPOLOGY_SYSTEM, !oneNode);
        }
      }
    }
    for (const unsigned cpu : {0U, 1U, 2U, 63U, 64U, 70U, 71U, 100U, 199U, 200U, 5000U}) {
      std::vector<unsigned> expected;
      for (unsigned a = 0; a < 16; ++a) {
        const std::vector<unsigned> cpus = affinity(a);
        if (std::count(cpus.begin(), cpus.end(), cpu) > 0) expected.push_back(a);
      }
      EXPECT_EQ(nearCpu(cpu), expected) << cpu;
    }
  }
}

TEST_F(TopologyTest, PlacesThatNobodyGaveFormATree) {
  start(R"({"gpus_per_board": 2, "numa_nodes": [{}, {}], "gpus": [{"count": 32}]})");
  std::map<int, int> seen;
  for (unsigned other = 1; other < 32; ++other) ++seen[ancestor(0, other)];
  const std::map<int, int> kExpected{{0, 1}, {20, 2}, {30, 4}, {40, 8}, {50, 16}};
  EXPECT_EQ(seen, kExpected);
}

TEST_F(TopologyTest, MasksNeedRoomForTheirBits) {
  start(R"({"numa_nodes": [{"cpus": "0-3"}, {"cpus": "64-65"}],
            "gpus": [{}, {"placement": "node1/bridge0/port0/switch0"}]})");
  unsigned long mask[2] = {};
  EXPECT_EQ(nvmlDeviceGetCpuAffinityWithinScope(gpu(0), 1, mask, NVML_AFFINITY_SCOPE_SOCKET),
            NVML_SUCCESS);
  EXPECT_EQ(mask[0], 0xfU);
  EXPECT_EQ(nvmlDeviceGetCpuAffinityWithinScope(gpu(1), 1, mask, NVML_AFFINITY_SCOPE_NODE),
            NVML_ERROR_INSUFFICIENT_SIZE);
  EXPECT_EQ(nvmlDeviceGetMemoryAffinity(gpu(1), 1, mask, NVML_AFFINITY_SCOPE_NODE), NVML_SUCCESS);
  EXPECT_EQ(mask[0], 2U);
}

TEST_F(TopologyTest, PairsCanDoWhatBothCan) {
  start(R"({"gpus": [{}, {"p2p": {"read": "chipset_not_supported", "write": {"raw": 17}}},
                     {"p2p": "unavailable"}]})");
  nvmlGpuP2PStatus_t status = {};
  const auto ask = [&](unsigned a, unsigned b, nvmlGpuP2PCapsIndex_t capability) {
    return nvmlDeviceGetP2PStatus(gpu(a), gpu(b), capability, &status);
  };
  EXPECT_EQ(ask(0, 1, NVML_P2P_CAPS_INDEX_READ), NVML_SUCCESS);
  EXPECT_EQ(status, NVML_P2P_STATUS_CHIPSET_NOT_SUPPORTED);
  EXPECT_EQ(ask(1, 0, NVML_P2P_CAPS_INDEX_WRITE), NVML_SUCCESS);
  EXPECT_EQ(static_cast<int>(status), 17);
  EXPECT_EQ(ask(0, 2, NVML_P2P_CAPS_INDEX_READ), NVML_ERROR_NOT_SUPPORTED);
}

}  // namespace
}  // namespace zansim
