#include "library_test.h"
#include "machine/descriptor.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zansim {
namespace {

class ConventionsTest : public LibraryTest {};

TEST_F(ConventionsTest, NothingAnswersOutsideASession) {
  workspace.write("host.json", R"({"gpus": [{}]})");
  Session::restartOfProcess();
  unsigned count = 0;
  EXPECT_EQ(nvmlDeviceGetCount_v2(&count), NVML_ERROR_UNINITIALIZED);
  EXPECT_EQ(nvmlShutdown(), NVML_ERROR_UNINITIALIZED);
  EXPECT_EQ(nvmlInit(), NVML_SUCCESS);
  EXPECT_EQ(nvmlInit(), NVML_SUCCESS);
  nvmlDevice_t device = gpu(0);
  EXPECT_EQ(nvmlShutdown(), NVML_SUCCESS);
  EXPECT_EQ(nvmlDeviceGetCount_v2(&count), NVML_SUCCESS) << "one of two users is left";
  EXPECT_EQ(nvmlShutdown(), NVML_SUCCESS);
  EXPECT_EQ(nvmlDeviceGetFanSpeed(device, &count), NVML_ERROR_UNINITIALIZED);
  EXPECT_EQ(nvmlSystemGetDriverVersion(nullptr, 0), NVML_ERROR_UNINITIALIZED);
  nvmlVgpuTypeId_t type = 0;
  EXPECT_EQ(nvmlVgpuInstanceGetType(1, &type), NVML_ERROR_UNINITIALIZED);
}

TEST_F(ConventionsTest, HandlesBelongToOneSession) {
  start(R"({"gpus": [{"temperature": 51}, {"temperature": 52}]})");
  unsigned value = 0;
  nvmlDevice_t stale = gpu(1);
  EXPECT_EQ(nvmlDeviceGetTemperature(stale, NVML_TEMPERATURE_GPU, &value), NVML_SUCCESS);
  EXPECT_EQ(value, 52U);
  EXPECT_EQ(read(nvmlDeviceGetIndex, stale), 1U);
  nvmlShutdown();
  nvmlInit();
  EXPECT_EQ(nvmlDeviceGetTemperature(stale, NVML_TEMPERATURE_GPU, &value),
            NVML_ERROR_INVALID_ARGUMENT);
  EXPECT_NE(gpu(1), stale);
  int local = 0;
  EXPECT_EQ(nvmlDeviceGetIndex(reinterpret_cast<nvmlDevice_t>(&local), &value),
            NVML_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(nvmlDeviceGetIndex(nullptr, &value), NVML_ERROR_INVALID_ARGUMENT);
  nvmlDevice_t device = nullptr;
  EXPECT_EQ(nvmlDeviceGetHandleByIndex_v2(2, &device), NVML_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(nvmlDeviceGetHandleByIndex_v2(0, nullptr), NVML_ERROR_INVALID_ARGUMENT);
}

TEST_F(ConventionsTest, TextsNeedRoomForTheirNul) {
  start(R"({"driver_version": "1.2.3", "gpus": [{"name": "Zanthe", "serial": {"fill": "#"},
            "uuid": {"fails": "unknown"}, "part_number": "unavailable"}]})");
  nvmlDevice_t device = gpu(0);
  char text[8] = "1234567";
  EXPECT_EQ(nvmlDeviceGetName(device, text, 6), NVML_ERROR_INSUFFICIENT_SIZE);
  EXPECT_STREQ(text, "1234567") << "a text that does not fit leaves the buffer alone";
  EXPECT_EQ(nvmlDeviceGetName(device, text, 7), NVML_SUCCESS);
  EXPECT_STREQ(text, "Zanthe");
  EXPECT_EQ(nvmlDeviceGetName(device, nullptr, 7), NVML_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(nvmlDeviceGetName(device, text, 0), NVML_ERROR_INSUFFICIENT_SIZE);
  EXPECT_EQ(nvmlSystemGetDriverVersion(text, 5), NVML_ERROR_INSUFFICIENT_SIZE);
  EXPECT_EQ(nvmlDeviceGetSerial(device, text, 4), NVML_SUCCESS);
  EXPECT_EQ(std::string(text, 7), std::string("####he\0", 7))
      << "every byte of the buffer, and none behind it";
  EXPECT_EQ(nvmlDeviceGetUUID(device, text, 8), NVML_ERROR_UNKNOWN);
  EXPECT_EQ(nvmlDeviceGetBoardPartNumber(device, text, 8), NVML_ERROR_NOT_SUPPORTED);
}

TEST_F(ConventionsTest, NullPointersAndForeignSelectorsAreRefused) {
  start(R"({"gpus": [{}]})");
  nvmlDevice_t device = gpu(0);
  unsigned value = 0;
  unsigned long mask = 0;
  int number = 0;
  nvmlViolationTime_t violation = {};
  nvmlGpuP2PStatus_t status = {};
  const auto selector = [](int wrong, auto right) { return static_cast<decltype(right)>(wrong); };
  const nvmlReturn_t kAnswers[] = {
      nvmlDeviceGetCount_v2(nullptr),
      nvmlDeviceGetFanSpeed(device, nullptr),
      nvmlDeviceGetPciInfo(device, nullptr),
      nvmlDeviceGetCudaComputeCapability(device, &number, nullptr),
      nvmlDeviceGetEccMode(device, nullptr, nullptr),
      nvmlDeviceGetEncoderUtilization(device, &value, nullptr),
      nvmlDeviceGetComputeRunningProcesses(device, nullptr, nullptr),
      nvmlDeviceGetTopologyCommonAncestor(device, device, nullptr),
      zanmlDeviceGetCeMask(device, &value, nullptr),
      zanmlDeviceGetJpuUtilization(device, nullptr),
      getDeviceVgpuPids(device, nullptr),
      nvmlDeviceGetTemperature(device, selector(1, NVML_TEMPERATURE_GPU), &value),
      nvmlDeviceGetTemperatureThreshold(device, selector(4, NVML_TEMPERATURE_THRESHOLD_SHUTDOWN),
                                        &value),
      nvmlDeviceGetClock(device, NVML_CLOCK_SM, selector(1, NVML_CLOCK_ID_CURRENT), &value),
      nvmlDeviceGetMaxClockInfo(device, selector(4, NVML_CLOCK_SM), &value),
      nvmlDeviceGetViolationStatus(device, selector(2, NVML_PERF_POLICY_POWER), &violation),
      nvmlDeviceGetRetiredPages(
          device, selector(2, NVML_PAGE_RETIREMENT_CAUSE_DOUBLE_BIT_ECC_ERROR), &value, nullptr),
      nvmlDeviceGetTopologyNearestGpus(device, selector(5, NVML_TOPOLOGY_NODE), &value, nullptr),
      nvmlDeviceGetP2PStatus(device, device, selector(2, NVML_P2P_CAPS_INDEX_READ), &status),
      nvmlDeviceGetCpuAffinityWithinScope(device, 1, &mask, selector(2, NVML_AFFINITY_SCOPE_NODE)),
      nvmlDeviceGetCpuAffinityWithinScope(device, 1, nullptr, NVML_AFFINITY_SCOPE_NODE),
      nvmlDeviceGetMemoryAffinity(device, 0, &mask, NVML_AFFINITY_SCOPE_NODE),
  };
  for (std::size_t i = 0; i < std::size(kAnswers); ++i) {
    EXPECT_EQ(kAnswers[i], NVML_ERROR_INVALID_ARGUMENT) << "call " << i;
  }
}

TEST_F(ConventionsTest, ListsAreAskedInTwoCalls) {
  start(R"({"gpus": [{"processes": [{"pid": 100, "count": 3, "memory": "1 MiB"},
                                    {"pid": 7, "lists": "all"}],
                      "retired_pages": {"single_bit": 5, "double_bit": 0}}]})");
  nvmlDevice_t device = gpu(0);
  unsigned count = 0;
  nvmlProcessInfo_t infos[4] = {};
  EXPECT_EQ(nvmlDeviceGetComputeRunningProcesses(device, &count, nullptr),
            NVML_ERROR_INSUFFICIENT_SIZE);
  EXPECT_EQ(count, 3U);
  count = 2;
  EXPECT_EQ(nvmlDeviceGetComputeRunningProcesses(device, &count, infos),
            NVML_ERROR_INSUFFICIENT_SIZE);
  EXPECT_EQ(count, 3U);
  EXPECT_EQ(infos[0].pid, 0U);
  count = 4;
  EXPECT_EQ(nvmlDeviceGetComputeRunningProcesses(device, &count, infos), NVML_SUCCESS);
  EXPECT_EQ(count, 3U);
  EXPECT_EQ(infos[2].pid, 102U);
  EXPECT_EQ(infos[2].usedGpuMemory, 1U << 20U);
  EXPECT_EQ(infos[3].pid, 0U);
  EXPECT_EQ(nvmlDeviceGetComputeRunningProcesses(device, &count, nullptr),
            NVML_ERROR_INVALID_ARGUMENT);
  count = 4;
  EXPECT_EQ(zanmlDeviceGetComputeAllProcesses(device, &count, infos), NVML_SUCCESS);
  EXPECT_EQ(count, 4U);
  EXPECT_EQ(infos[3].pid, 7U);
  count = 0;
  EXPECT_EQ(nvmlDeviceGetRetiredPages(device, NVML_PAGE_RETIREMENT_CAUSE_DOUBLE_BIT_ECC_ERROR,
                                      &count, nullptr),
            NVML_SUCCESS)
      << "there is nothing to make room for";
  const auto pages = list<unsigned long long>([&](unsigned* size, unsigned long long* addresses) {
    return nvmlDeviceGetRetiredPages(
        device, NVML_PAGE_RETIREMENT_CAUSE_MULTIPLE_SINGLE_BIT_ECC_ERRORS, size, addresses);
  });
  EXPECT_EQ(pages.size(), 5U);
}

TEST_F(ConventionsTest, StructuresAreHadWholeOrNotAtAll) {
  start(R"({"gpus": [{"pci": {"bus_id": "unavailable"}, "memory": {"used": {"fails": 10}},
                      "utilization": {"memory": "unavailable"}}]})");
  nvmlPciInfo_t pci = {};
  pci.bus = 99;
  EXPECT_EQ(nvmlDeviceGetPciInfo(gpu(0), &pci), NVML_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(pci.bus, 99U);
  nvmlMemory_t memory = {};
  memory.total = 99;
  EXPECT_EQ(nvmlDeviceGetMemoryInfo(gpu(0), &memory), NVML_ERROR_TIMEOUT);
  EXPECT_EQ(memory.total, 99U);
  nvmlUtilization_t utilization = {.gpu = 99, .memory = 99};
  EXPECT_EQ(nvmlDeviceGetUtilizationRates(gpu(0), &utilization), NVML_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(utilization.gpu, 99U);
}

TEST_F(ConventionsTest, GpusOfABoardShareItsSignals) {
  start(R"({"gpus_per_board": 2, "gpus": [{"count": 4, "board": {
    "power_usage": {"signal": "ramp", "min": 0, "max": 9000, "period": 1000000}}}]})");
  const auto power = [&](unsigned index) {
    return static_cast<int>(read(zanmlDeviceGetBoardPowerUsage, gpu(index)));
  };
  EXPECT_NEAR(power(0), power(1), 1);
  EXPECT_GT(std::abs(power(0) - power(2)), 100);
}

TEST_F(ConventionsTest, AnEditedDescriptionIsTakenNoticeOf) {
  start(R"({"gpus": [{"name": "before"}, {}]})");
  nvmlDevice_t device = gpu(0);
  nvmlDevice_t second = gpu(1);
  Session& session = Session::ofProcess();
  workspace.write("host.json", R"({"gpus": [{"name": "afterwards"}]})");
  session.refresh(true);
  EXPECT_EQ(name(device), "afterwards");
  unsigned value = 0;
  EXPECT_EQ(nvmlDeviceGetMinorNumber(second, &value), NVML_ERROR_GPU_IS_LOST);
  ::testing::internal::CaptureStderr();
  workspace.write("host.json", R"({"gpus": [{"nam": "bad"}]})");
  session.refresh(true);
  session.refresh(true);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "zansim: " + workspace.path("host.json") +
                ":1: /gpus/0/nam: unknown key, did you mean \"name\"?\n")
      << "said once";
  EXPECT_EQ(name(device), "afterwards");
  workspace.write("host.json", R"({"gpus": [{"name": "good again"}, {}]})");
  session.refresh(true);
  EXPECT_EQ(name(device), "good again");
  EXPECT_EQ(read(nvmlDeviceGetMinorNumber, second), 1U);
}

TEST_F(ConventionsTest, ABadDescriptionIsADriverThatIsNotLoaded) {
  workspace.write("host.json", "{");
  Session::restartOfProcess();
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(nvmlInit(), NVML_ERROR_DRIVER_NOT_LOADED);
  const std::string complaint = ::testing::internal::GetCapturedStderr();
  EXPECT_TRUE(complaint.starts_with("zansim: " + workspace.path("host.json") + ":1: "))
      << complaint;
  unsigned count = 0;
  EXPECT_EQ(nvmlDeviceGetCount_v2(&count), NVML_ERROR_UNINITIALIZED);
}

TEST_F(ConventionsTest, ResetsOfSeveralProcessesAreAllCounted) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may change a GPU";
  std::filesystem::create_directory(workspace.path("state"));
  const Descriptor directory(open(workspace.path("state").c_str(), O_RDONLY | O_DIRECTORY));
  createState(directory.number(), workspace.path("state"), kSecond);
  setenv(kStateVariable, workspace.path("state").c_str(), 1);
  start(R"({"gpus": [{}]})");
  constexpr unsigned kProcesses = 4;
  constexpr unsigned kResets = 2000;
  for (unsigned i = 0; i < kProcesses; ++i) {
    if (fork() != 0) continue;
    for (unsigned n = 0; n < kResets; ++n) zanmlDeviceReset(gpu(0));
    _exit(0);
  }
  while (wait(nullptr) > 0) {
  }
  EXPECT_EQ(Session::ofProcess().state()->gpus[0].resets, kProcesses * kResets);
  EXPECT_EQ(Session::ofProcess().state()->resetCount, kProcesses * kResets);
}

}  // namespace
}  // namespace zansim
