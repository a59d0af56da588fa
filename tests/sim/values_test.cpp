#include "library_test.h"

#include <cstring>

#include <unistd.h>

namespace zansim {
namespace {

class ValuesTest : public LibraryTest {};

TEST_F(ValuesTest, EachOperationReadsItsOwnAttribute) {
  start(R"({"cuda_version": 12030, "gpus": [{
    "minor_number": 1, "board": {"id": 2, "position": 3, "multi": true, "power_usage": 4,
    "power_limit": 5, "temperature": 6, "sn": 7}, "gpu_sn": 8, "fan_speed": 9, "power_usage": 10,
    "enforced_power_limit": 11, "power_limit": 12,
    "pcie": {"generation": 13, "max_generation": 14, "width": 15, "max_width": 16}}]})");
  nvmlDevice_t device = gpu(0);
  EXPECT_EQ(read(nvmlDeviceGetMinorNumber, device), 1U);
  EXPECT_EQ(read(nvmlDeviceGetBoardId, device), 2U);
  EXPECT_EQ(read(zanmlDeviceGetBoardPosition, device), 3U);
  EXPECT_EQ(read(nvmlDeviceGetMultiGpuBoard, device), 1U);
  EXPECT_EQ(read(zanmlDeviceGetBoardPowerUsage, device), 4U);
  EXPECT_EQ(read(zanmlDeviceGetBoardPowerLimit, device), 5U);
  EXPECT_EQ(read(zanmlDeviceGetBoardTemperature, device), 6U);
  unsigned long long serial = 0;
  EXPECT_EQ(zanmlDeviceGetBoardSn(device, &serial), NVML_SUCCESS);
  EXPECT_EQ(serial, 7U);
  EXPECT_EQ(read(zanmlDeviceGetGpuSn, device), 8U);
  EXPECT_EQ(read(nvmlDeviceGetFanSpeed, device), 9U);
  EXPECT_EQ(read(nvmlDeviceGetPowerUsage, device), 10U);
  EXPECT_EQ(read(nvmlDeviceGetEnforcedPowerLimit, device), 11U);
  EXPECT_EQ(read(nvmlDeviceGetPowerManagementLimit, device), 12U);
  EXPECT_EQ(read(nvmlDeviceGetCurrPcieLinkGeneration, device), 13U);
  EXPECT_EQ(read(nvmlDeviceGetMaxPcieLinkGeneration, device), 14U);
  EXPECT_EQ(read(nvmlDeviceGetCurrPcieLinkWidth, device), 15U);
  EXPECT_EQ(read(nvmlDeviceGetMaxPcieLinkWidth, device), 16U);
  int cuda = 0;
  EXPECT_EQ(nvmlSystemGetCudaDriverVersion_v2(&cuda), NVML_SUCCESS);
  EXPECT_EQ(cuda, 12030);
}

TEST_F(ValuesTest, SelectorsChoose) {
  start(R"({"gpus": [{
    "temperature": 40, "temperature_shutdown": 41, "temperature_slowdown": 42,
    "temperature_memory_max": 43, "temperature_max": 44,
    "clocks": {"graphics": 50, "sm": 51, "memory": 52, "video": 53},
    "max_clocks": {"graphics": 60, "sm": 61, "memory": 62, "video": 63},
    "pcie": {"tx": 70, "rx": 71}, "violation": {"power": 80, "thermal": 81}}]})");
  nvmlDevice_t device = gpu(0);
  for (int i = 0; i < 4; ++i) {
    unsigned value = 0;
    const auto clock = static_cast<nvmlClockType_t>(i);
    nvmlDeviceGetTemperatureThreshold(device, static_cast<nvmlTemperatureThresholds_t>(i), &value);
    EXPECT_EQ(value, 41U + static_cast<unsigned>(i));
    nvmlDeviceGetClock(device, clock, NVML_CLOCK_ID_CURRENT, &value);
    EXPECT_EQ(value, 50U + static_cast<unsigned>(i));
    nvmlDeviceGetClockInfo(device, clock, &value);
    EXPECT_EQ(value, 50U + static_cast<unsigned>(i));
    nvmlDeviceGetMaxClockInfo(device, clock, &value);
    EXPECT_EQ(value, 60U + static_cast<unsigned>(i));
  }
  unsigned value = 0;
  nvmlDeviceGetPcieThroughput(device, NVML_PCIE_UTIL_RX_BYTES, &value);
  EXPECT_EQ(value, 71U);
  nvmlViolationTime_t violation = {};
  nvmlDeviceGetViolationStatus(device, NVML_PERF_POLICY_THERMAL, &violation);
  EXPECT_EQ(violation.violationTime, 81U);
}

TEST_F(ValuesTest, StructuresAreHadWholeOrNotAtAll) {
  start(R"({"gpus": [
    {"pci": {"domain": 1, "bus": 59, "device": 2, "device_id": "0x10011e9c", "subsystem_id": 5},
     "memory": {"total": 100, "used": 130}, "utilization": {"gpu": 7, "memory": 8}},
    {"pci": {"bus_id": "unavailable"}, "memory": {"used": {"fails": 10}},
     "utilization": {"memory": "unavailable"}, "ecc": {"pending": "unavailable"}}]})");
  nvmlPciInfo_t pci = {};
  EXPECT_EQ(nvmlDeviceGetPciInfo(gpu(0), &pci), NVML_SUCCESS);
  EXPECT_STREQ(pci.busId, "00000001:3B:02.0");
  EXPECT_STREQ(pci.busIdLegacy, "0001:3B:02.0");
  EXPECT_EQ(pci.bus, 59U);
  EXPECT_EQ(pci.pciDeviceId, 0x10011e9cU);
  EXPECT_EQ(pci.pciSubSystemId, 5U);
  nvmlMemory_t memory = {};
  EXPECT_EQ(nvmlDeviceGetMemoryInfo(gpu(0), &memory), NVML_SUCCESS);
  EXPECT_EQ(memory.free, 0U) << "used beyond the total leaves nothing free";
  EXPECT_EQ(memory.used, 130U);

  pci.bus = 99;
  EXPECT_EQ(nvmlDeviceGetPciInfo(gpu(1), &pci), NVML_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(pci.bus, 99U);
  memory.total = 99;
  EXPECT_EQ(nvmlDeviceGetMemoryInfo(gpu(1), &memory), NVML_ERROR_TIMEOUT);
  EXPECT_EQ(memory.total, 99U);
  nvmlUtilization_t utilization = {.gpu = 99, .memory = 99};
  EXPECT_EQ(nvmlDeviceGetUtilizationRates(gpu(1), &utilization), NVML_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(utilization.gpu, 99U);
  nvmlEnableState_t current = {};
  nvmlEnableState_t pending = {};
  EXPECT_EQ(nvmlDeviceGetEccMode(gpu(1), &current, &pending), NVML_ERROR_NOT_SUPPORTED);
}

TEST_F(ValuesTest, GpusOfABoardShareItsSignals) {
  start(R"({"gpus_per_board": 2, "gpus": [{"count": 4,
    "board": {"power_usage": {"signal": "ramp", "min": 0, "max": 9000, "period": 1000000}},
    "power_usage": {"signal": "ramp", "min": 0, "max": 9000, "period": 1000000}}]})");
  const auto board = [&](unsigned index) {
    return read(zanmlDeviceGetBoardPowerUsage, gpu(index));
  };
  EXPECT_NEAR(board(0), board(1), 1);
  EXPECT_GT(std::abs(static_cast<int>(board(0) - board(2))), 100);
  const unsigned first = read(nvmlDeviceGetPowerUsage, gpu(0));
  EXPECT_GT(std::abs(static_cast<int>(first - read(nvmlDeviceGetPowerUsage, gpu(1)))), 100);
}

TEST_F(ValuesTest, EnginesCountTheirBusyTimeSinceTheDriverWasLoaded) {
  start(R"({"uptime": 100, "gpus": [{"jpu": {"engines": 3, "busy": 25},
            "vpu": {"engines": 2, "total": 500, "busy": [70, 80]}}, {}]})");
  zanmlJpuUtilization_t jpu = {};
  EXPECT_EQ(zanmlDeviceGetJpuUtilization(gpu(0), &jpu), NVML_SUCCESS);
  EXPECT_EQ(jpu.count, 3U);
  const unsigned long long before = jpu.busyTime[2];
  EXPECT_NEAR(static_cast<double>(before), 25e9, 5e9) << "a quarter of a hundred seconds";
  EXPECT_EQ(jpu.busyTime[3], 0U);
  while (jpu.busyTime[2] == before) zanmlDeviceGetJpuUtilization(gpu(0), &jpu);
  EXPECT_GT(jpu.busyTime[2], before);
  zanmlVpuUtilization_t vpu = {};
  EXPECT_EQ(zanmlDeviceGetVpuUtilization(gpu(0), &vpu), NVML_SUCCESS);
  EXPECT_EQ(vpu.count, 2U);
  EXPECT_EQ(vpu.total, 500U);
  EXPECT_EQ(vpu.busy[1], 80U);
  EXPECT_EQ(zanmlDeviceGetVpuUtilization(gpu(1), &vpu), NVML_ERROR_NOT_SUPPORTED);
}

TEST_F(ValuesTest, TheCallersOwnProcessCanBeListed) {
  start(R"({"gpus": [{"processes": [{"kind": "self", "memory": 5},
                                    {"pid": 77, "vgpu": true}]}]})");
  nvmlProcessInfo_t infos[2] = {};
  unsigned count = 2;
  EXPECT_EQ(nvmlDeviceGetComputeRunningProcesses(gpu(0), &count, infos), NVML_SUCCESS);
  EXPECT_EQ(infos[0].pid, static_cast<unsigned>(getpid()));
  unsigned pids[kZanmlMaxVgpuPids] = {};
  EXPECT_EQ(getDeviceVgpuPids(gpu(0), pids), NVML_SUCCESS);
  EXPECT_EQ(pids[0], 77U);
  EXPECT_EQ(pids[1], 0U);
}

TEST_F(ValuesTest, AnEditedDescriptionIsTakenNoticeOf) {
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
  workspace.write("host.json", R"({"gpus": [{"name": "good again"}, {}, {}]})");
  session.refresh(true);
  EXPECT_EQ(name(device), "good again");
  EXPECT_EQ(read(nvmlDeviceGetMinorNumber, second), 1U);
}

TEST_F(ValuesTest, InitialisingAgainDoesNotReadAgain) {
  start(R"({"gpus": [{}]})");
  const Machine* const machine = &Session::ofProcess().machine();
  nvmlShutdown();
  nvmlInit();
  EXPECT_EQ(&Session::ofProcess().machine(), machine);
}

}  // namespace
}  // namespace zansim
