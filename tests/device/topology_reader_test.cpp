#include "device/topology_reader.h"

#include "support/fake_library.h"

#include <algorithm>

namespace zanctl {
namespace {

using Gpus = std::vector<std::uint32_t>;

class TopologyReaderTest : public FakeLibrary {
 protected:
  TopologyReaderTest() {
    holdDevices(4);
    calls = 0;
    nearest.clear();
    growth = 0;
    library().nvmlDeviceGetIndex.bind([](nvmlDevice_t device, unsigned int* index) {
      *index = gpuOf(device);
      return *index == 2 ? NVML_ERROR_GPU_IS_LOST : NVML_SUCCESS;
    });
    library().nvmlSystemGetTopologyGpuSet.bind(
        [](unsigned int, unsigned int* count, nvmlDevice_t* devices) {
          ++calls;
          const unsigned int room = *count;
          *count = static_cast<unsigned int>(nearest.size());
          if (room < nearest.size()) {
            nearest.insert(nearest.end(), growth, 3);
            return NVML_ERROR_INSUFFICIENT_SIZE;
          }
          std::transform(nearest.begin(), nearest.end(), devices, handleOf);
          return NVML_SUCCESS;
        });
  }

  inline static Gpus nearest;
  inline static std::size_t growth = 0;
  inline static int calls = 0;
};

TEST_F(TopologyReaderTest, listsTheGpusThatCanBeNamed) {
  EXPECT_EQ(topology().readGpusNearCpu(0), Gpus());
  EXPECT_EQ(calls, 1) << "an empty list needs no second call";
  nearest = {3, 2, 0};
  EXPECT_EQ(topology().readGpusNearCpu(0), (Gpus{3, 0}));
  growth = 1;
  calls = 0;
  EXPECT_EQ(topology().readGpusNearCpu(0), Gpus());
  EXPECT_EQ(calls, 5) << "a list that always grows is given up";
}

TEST_F(TopologyReaderTest, asksForTheSizeAloneWhereThatIsASuccess) {
  library().nvmlDeviceGetTopologyNearestGpus.bind(
      [](nvmlDevice_t, nvmlGpuTopologyLevel_t, unsigned int* count, nvmlDevice_t* devices) {
        if (devices != nullptr) devices[0] = handleOf(1);
        *count = 1;
        return NVML_SUCCESS;
      });
  EXPECT_EQ(topology().readNearestGpus(NVML_TOPOLOGY_SINGLE), Gpus{1});
}

TEST_F(TopologyReaderTest, readsNoPairWithoutBothHandles) {
  library().nvmlDeviceGetTopologyCommonAncestor.bind(
      [](nvmlDevice_t, nvmlDevice_t other, nvmlGpuTopologyLevel_t* level) {
        *level = gpuOf(other) == 3 ? NVML_TOPOLOGY_NODE : NVML_TOPOLOGY_SYSTEM;
        return NVML_SUCCESS;
      });
  EXPECT_EQ(topology().readCommonAncestor(3), NVML_TOPOLOGY_NODE);
  EXPECT_EQ(topology().readCommonAncestor(4), std::nullopt);
  session().currentDevice = 4;
  EXPECT_EQ(topology().readCommonAncestor(3), std::nullopt);
  EXPECT_EQ(topology().readP2pStatus(0, NVML_P2P_CAPS_INDEX_READ), std::nullopt);
}

TEST_F(TopologyReaderTest, offersAMaskOfWholeWordsAndNeverAnEmptyOne) {
  library().nvmlDeviceGetCpuAffinityWithinScope.bind(
      [](nvmlDevice_t, unsigned int words, unsigned long* mask, nvmlAffinityScope_t scope) {
        EXPECT_EQ(scope, NVML_AFFINITY_SCOPE_NODE);
        ++calls;
        mask[words - 1] = 3UL << 62U;
        return NVML_SUCCESS;
      });
  EXPECT_EQ(topology().readCpuAffinity(1), "62,63");
  EXPECT_EQ(topology().readCpuAffinity(64), "62,63");
  EXPECT_EQ(topology().readCpuAffinity(65), "126,127");
  calls = 0;
  EXPECT_EQ(topology().readCpuAffinity(0), std::nullopt);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(topology().readMemoryAffinity(1), std::nullopt);
}

}  // namespace
}  // namespace zanctl
