#include "device/readers.h"

#include "device/attributes.h"
#include "device/board_power.h"
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
  EXPECT_EQ(attributes::boardPowerUsage(), std::nullopt);
  library().nvmlDeviceGetMultiGpuBoard.bind([](nvmlDevice_t, unsigned int* multi) {
    *multi = 2;
    return NVML_SUCCESS;
  });
  EXPECT_FALSE(attributes::multiGpuBoard());
}

TEST_F(ReadersTest, countRetiredPagesWithOneCall) {
  static nvmlReturn_t answer = NVML_SUCCESS;
  library().nvmlDeviceGetRetiredPages.bind(
      [](nvmlDevice_t, nvmlPageRetirementCause_t cause, unsigned int* count, unsigned long long*) {
        *count = cause == NVML_PAGE_RETIREMENT_CAUSE_DOUBLE_BIT_ECC_ERROR ? 3 : 0;
        return *count == 0 ? NVML_SUCCESS : answer;
      });
  answer = NVML_ERROR_INSUFFICIENT_SIZE;
  const auto singleBit = NVML_PAGE_RETIREMENT_CAUSE_MULTIPLE_SINGLE_BIT_ECC_ERRORS;
  const auto doubleBit = NVML_PAGE_RETIREMENT_CAUSE_DOUBLE_BIT_ECC_ERROR;
  EXPECT_EQ(attributes::retiredPageCount(singleBit), 0U);
  EXPECT_EQ(attributes::retiredPageCount(doubleBit), 3U);
  answer = NVML_ERROR_TIMEOUT;
  EXPECT_EQ(attributes::retiredPageCount(doubleBit), std::nullopt);
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

  using Powers = std::vector<std::optional<std::uint32_t>>;
  static Powers powers(std::initializer_list<std::uint32_t> order) {
    Powers result;
    for (const std::uint32_t gpu : order) {
      session().currentDevice = gpu;
      result.push_back(powerOnBoard());
    }
    return result;
  }

  inline static int calls = 0;
  inline static nvmlReturn_t boardPowerAnswer = NVML_SUCCESS;
};

TEST_F(BoardPowerTest, isAskedOncePerBoardAndShownOnItsFirstGpu) {
  EXPECT_EQ(powers({0, 1, 2, 3}), (Powers{500, std::nullopt, 502, std::nullopt}));
  EXPECT_EQ(calls, 2);
  boardPowerTable().clear();
  EXPECT_EQ(powers({1, 0}), (Powers{std::nullopt, 501}));
  EXPECT_EQ(calls, 3);
}

TEST_F(BoardPowerTest, isNotRememberedWhenItCannotBeRead) {
  boardPowerAnswer = NVML_ERROR_TIMEOUT;
  EXPECT_EQ(powers({0}), (Powers{std::nullopt}));
  boardPowerAnswer = NVML_SUCCESS;
  EXPECT_EQ(powers({0}), (Powers{500}));
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
      processes[i] = {i == 0 ? static_cast<unsigned int>(getpid()) : 1, (i + 1ULL) << 20};
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
    EXPECT_EQ(reader().readAllProcesses().size(), count == 0 ? 0 : count - 1) << "but our own";
  }
  size = 2;
  const auto others = reader().readRunningProcesses();
  ASSERT_EQ(others.size(), 1U);
  const ProcessEntry entry = describeProcess(others[0]);
  EXPECT_EQ(entry.usedMemory, 2U << 20U);
  EXPECT_FALSE(entry.gone);
  EXPECT_EQ(entry.name, processName(1));
  EXPECT_EQ(vgpuProcessTable()[0], 77U);
}

TEST_F(ProcessListTest, askAgainWhileProcessesAreAddedButNotForEver) {
  size = 5;
  growth = 1;
  EXPECT_TRUE(reader().readComputeProcesses().empty());
  size = 25;
  growth = 0;
  EXPECT_EQ(reader().readAllProcesses().size(), 24U);
  size = 0xFFFFFFFF;
  EXPECT_TRUE(reader().readComputeProcesses().empty()) << "no room for an absurd size";
}

}  // namespace
}  // namespace zanctl
