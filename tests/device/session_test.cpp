#include "device/session.h"

#include "device/controller.h"
#include "support/fake_library.h"

#include <limits>

namespace zanctl {
namespace {

int initCount = 0;
int shutdownCount = 0;
std::uint32_t gpuCount = 0;
std::uint32_t handleLimit = 0;
nvmlReturn_t initAnswer = NVML_SUCCESS;

class SessionTest : public FakeLibrary {
 protected:
  SessionTest() {
    initCount = shutdownCount = 0;
    gpuCount = handleLimit = 3;
    initAnswer = NVML_SUCCESS;
    Library& lib = library();
    lib.nvmlInit.bind([] {
      ++initCount;
      return initAnswer;
    });
    lib.nvmlShutdown.bind([] {
      ++shutdownCount;
      return NVML_SUCCESS;
    });
    lib.nvmlDeviceGetCount_v2.bind([](unsigned int* count) {
      *count = gpuCount;
      return NVML_SUCCESS;
    });
    lib.nvmlDeviceGetHandleByIndex_v2.bind([](unsigned int index, nvmlDevice_t* device) {
      if (index >= handleLimit) return NVML_ERROR_GPU_IS_LOST;
      *device = handleOf(index);
      return NVML_SUCCESS;
    });
  }
};

TEST_F(SessionTest, enumeratesOnceAndIgnoresASecondOpening) {
  openSession(0);
  session().currentDevice = 2;
  openSession(17);
  EXPECT_EQ(session().deviceCount, 3U);
  EXPECT_EQ(session().handles.size(), 3U);
  EXPECT_EQ(session().currentDevice, 2U);
  EXPECT_EQ(initCount, 1);
  closeSession();
  EXPECT_EQ(shutdownCount, 1);
  EXPECT_FALSE(session().initialised);
}

TEST_F(SessionTest, withoutGpusIsInitialisedAndWithoutInitIsNot) {
  for (const unsigned int none : {0U, std::numeric_limits<unsigned int>::max()}) {
    gpuCount = none;
    openSession(0);
    EXPECT_TRUE(session().initialised);
    EXPECT_EQ(session().deviceCount, 0U);
    closeSession();
  }
  initAnswer = NVML_ERROR_DRIVER_NOT_LOADED;
  openSession(0);
  EXPECT_FALSE(session().initialised);
  EXPECT_EQ(session().deviceCount, 0U);
}

TEST_F(SessionTest, asksForAVersionUntilItIsKnown) {
  static int calls = 0;
  static int version = 0;
  calls = 0;
  library().nvmlSystemGetCudaDriverVersion_v2.bind([](int* value) {
    ++calls;
    *value = version;
    return calls == 1 ? NVML_ERROR_TIMEOUT : NVML_SUCCESS;
  });
  for (const auto& [number, text] : std::map<int, std::string>{
           {9990, "9.99"}, {11080, "11.8"}, {12000, "12.0"}, {12020, "12.2"}}) {
    session() = DeviceSession{};
    calls = 0;
    version = number;
    EXPECT_EQ(cudaVersion(), "N/A");
    EXPECT_EQ(cudaVersion(), text);
    EXPECT_EQ(cudaVersion(), text);
    EXPECT_EQ(calls, 2);
  }
  shutdownLibrary();
  EXPECT_EQ(session().cudaVersion, "12.2") << "the caches outlive the library's shutdown";
}

TEST_F(SessionTest, textsThatFillTheirBufferAreTakenWhole) {
  library().nvmlSystemGetDriverVersion.bind([](char* text, unsigned int size) {
    std::memset(text, 'x', size);
    return NVML_SUCCESS;
  });
  EXPECT_EQ(driverVersion(), std::string(80, 'x'));
}

TEST_F(SessionTest, readsTheResetMarkerInASessionOfItsOwn) {
  static nvmlReturn_t answer = NVML_SUCCESS;
  library().zanmlDeviceGetResetStatus.bind([](nvmlDevice_t device, int* status) {
    *status = gpuOf(device) == 0 ? 1 : 0;
    return answer;
  });
  EXPECT_EQ(controller().readResetStatus().resetStatus, 1);
  EXPECT_EQ(controller().readResetStatus().deviceCount, 3U);
  EXPECT_FALSE(session().initialised);
  answer = NVML_ERROR_NOT_SUPPORTED;
  EXPECT_EQ(controller().readResetStatus().resetStatus, 0);
  handleLimit = 0;
  EXPECT_EQ(controller().readResetStatus().resetStatus, 0);
  EXPECT_EQ(initCount, shutdownCount) << "every start is balanced, also where a step failed";
}

TEST(LibraryTest, withoutALibraryEveryCallSaysSo) {
  const Library missing;
  EXPECT_EQ(missing.nvmlInit(), NVML_ERROR_LIBRARY_NOT_FOUND);
  EXPECT_EQ(missing.zanmlDeviceReset(nullptr), NVML_ERROR_LIBRARY_NOT_FOUND);
}

}  // namespace
}  // namespace zanctl
