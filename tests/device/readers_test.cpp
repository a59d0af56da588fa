#include "device/readers.h"

#include "device/attributes.h"
#include "device/process.h"
#include "support/fake_library.h"

#include <unistd.h>

namespace zanctl {
namespace {

class ReadersTest : public FakeLibrary {
 protected:
  ReadersTest() { holdDevices(4); }
};

TEST_F(ReadersTest, takeTheMakersPlaceHoldersForUnavailable) {
  static std::string text;
  const auto answer = [](nvmlDevice_t, char* buffer, unsigned int size) {
    return answerText(buffer, size, text);
  };
  library().nvmlDeviceGetSerial.bind(answer);
  library().nvmlDeviceGetBoardPartNumber.bind(answer);
  for (const char* placeHolder : {"00000000000000", "FFFFFFFFFFFFFF"}) {
    text = placeHolder;
    EXPECT_EQ(attributes::serial(), std::nullopt);
  }
  for (const char* serial : {"000000000000001", "0000000000000", "FFFFFFFF"}) {
    text = serial;
    EXPECT_EQ(attributes::serial(), serial);
  }
  EXPECT_EQ(attributes::partNumber(), std::nullopt);
  text = "FFFFFFFF0";
  EXPECT_EQ(attributes::partNumber(), text);
  library().zanmlDeviceGetBoardPowerUsage.bind([](nvmlDevice_t, unsigned int* watts) {
    *watts = 0;
    return NVML_SUCCESS;
  });
  EXPECT_EQ(reader().readSummary().boardPowerUsage, kUnavailable);
  library().nvmlDeviceGetMultiGpuBoard.bind([](nvmlDevice_t, unsigned int* multi) {
    *multi = 2;
    return NVML_SUCCESS;
  });
  EXPECT_EQ(reader().readDeviceInfo().multiGpuBoard, "No");
}

TEST_F(ReadersTest, countRetiredPagesWithOneCall) {
  static nvmlReturn_t answer = NVML_SUCCESS;
  library().nvmlDeviceGetRetiredPages.bind(
      [](nvmlDevice_t, nvmlPageRetirementCause_t cause, unsigned int* count, unsigned long long*) {
        *count = cause == NVML_PAGE_RETIREMENT_CAUSE_DOUBLE_BIT_ECC_ERROR ? 3 : 0;
        return *count == 0 ? NVML_SUCCESS : answer;
      });
  answer = NVML_ERROR_INSUFFICIENT_SIZE;
  EXPECT_EQ(reader().readRetiredPages().singleBit, 0U);
  EXPECT_EQ(reader().readRetiredPages().doubleBit, 3U);
  answer = NVML_ERROR_TIMEOUT;
  EXPECT_EQ(reader().readRetiredPages().doubleBit, kUnavailable64);
}

// Boards of two: GPU 2n and 2n+1 share board n.
class BoardPowerTest : public ReadersTest {
 protected:
  BoardPowerTest() {
    calls = 0;
    boardPowerAnswer = NVML_SUCCESS;
    library().nvmlDeviceGetBoardId.bind([](nvmlDevice_t device, unsigned int* board) {
      *board = gpuOf(device) / 2;
      return NVML_SUCCESS;
    });
    library().zanmlDeviceGetBoardPosition.bind([](nvmlDevice_t device, unsigned int* position) {
      *position = gpuOf(device) % 2;
      return NVML_SUCCESS;
    });
    library().zanmlDeviceGetBoardPowerUsage.bind([](nvmlDevice_t device, unsigned int* watts) {
      ++calls;
      *watts = 500 + gpuOf(device);
      return boardPowerAnswer;
    });
    library().nvmlDeviceGetPowerUsage.bind([](nvmlDevice_t device, unsigned int* watts) {
      *watts = 100 + gpuOf(device);
      return NVML_SUCCESS;
    });
  }

  static std::vector<std::uint32_t> powers(std::initializer_list<std::uint32_t> order) {
    std::vector<std::uint32_t> result;
    for (const std::uint32_t gpu : order) {
      session().currentDevice = gpu;
      result.push_back(reader().readMonitorSample().power);
    }
    return result;
  }

  inline static int calls = 0;
  inline static nvmlReturn_t boardPowerAnswer = NVML_SUCCESS;
};

TEST_F(BoardPowerTest, isAskedOncePerBoardAndShownOnItsFirstGpu) {
  EXPECT_EQ(powers({0, 1, 2, 3}),
            (std::vector<std::uint32_t>{500, kUnavailable, 502, kUnavailable}));
  EXPECT_EQ(calls, 2);
  boardPowerTable().clear();
  EXPECT_EQ(powers({1, 0}), (std::vector<std::uint32_t>{kUnavailable, 501}));
  EXPECT_EQ(calls, 3);
}

TEST_F(BoardPowerTest, isNotRememberedWhenItCannotBeRead) {
  boardPowerAnswer = NVML_ERROR_TIMEOUT;
  EXPECT_EQ(powers({0}), (std::vector<std::uint32_t>{kUnavailable}));
  boardPowerAnswer = NVML_SUCCESS;
  EXPECT_EQ(powers({0}), (std::vector<std::uint32_t>{500}));
}

class ProcessListTest : public ReadersTest {
 protected:
  ProcessListTest() {
    size = 0;
    growth = 0;
    library().nvmlDeviceGetComputeRunningProcesses.bind(answerList);
    library().zanmlDeviceGetComputeAllProcesses.bind(answerList);
    library().getDeviceVgpuPids.bind([](nvmlDevice_t, unsigned int* pids) {
      pids[0] = 77;
      return NVML_SUCCESS;
    });
  }

  static nvmlReturn_t answerList(nvmlDevice_t, unsigned int* count, nvmlProcessInfo_t* processes) {
    const unsigned int room = *count;
    *count = size;
    if (room < size) {
      size += growth;
      return NVML_ERROR_INSUFFICIENT_SIZE;
    }
    for (unsigned int i = 0; i < size; ++i) {
      processes[i] = {static_cast<unsigned int>(getpid()), (i + 1ULL) << 20};
    }
    return NVML_SUCCESS;
  }

  inline static unsigned int size = 0;
  inline static unsigned int growth = 0;
};

TEST_F(ProcessListTest, holdEveryProcess) {
  for (const unsigned int count : {0U, 1U, 20U, 21U, 4000U}) {
    size = count;
    EXPECT_EQ(reader().readComputeProcesses().size(), count);
    EXPECT_EQ(reader().readAllProcesses().size(), count);
  }
  size = 2;
  const auto entries = reader().readRunningProcesses();
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[1].usedMemoryMiB, 2U);
  EXPECT_FALSE(entries[1].gone);
  EXPECT_EQ(entries[1].name, processName(static_cast<std::uint32_t>(getpid())));
  EXPECT_EQ(vgpuProcessTable()[0], 77U);
}

TEST_F(ProcessListTest, askAgainWhileProcessesAreAddedButNotForEver) {
  size = 5;
  growth = 1;
  EXPECT_TRUE(reader().readComputeProcesses().empty());
  size = 25;
  growth = 0;
  EXPECT_EQ(reader().readAllProcesses().size(), 25U);
  size = 0xFFFFFFFF;
  EXPECT_TRUE(reader().readComputeProcesses().empty()) << "no room for an absurd size";
}

}  // namespace
}  // namespace zanctl
