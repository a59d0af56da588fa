#include "library_test.h"
#include "machine/fault_plan.h"

namespace zansim {
namespace {

class FaultTest : public LibraryTest {
 protected:
  // The codes of so many calls for the power of a GPU.
  std::vector<int> powerCodes(nvmlDevice_t device, int calls) {
    std::vector<int> codes;
    codes.reserve(static_cast<std::size_t>(calls));
    unsigned value = 0;
    for (int i = 0; i < calls; ++i) codes.push_back(nvmlDeviceGetPowerUsage(device, &value));
    return codes;
  }
};

TEST_F(FaultTest, BefallsTheCallsItNames) {
  start(R"({"gpus": [{"count": 3}], "faults": [
    {"operation": "nvmlDeviceGetPowerUsage", "gpu": 1, "code": "timeout", "from_call": 3, "calls": 2},
    {"operation": ["nvmlDeviceGetF*", "nvmlDeviceGetSer*"], "gpu": [0, 2], "code": 17}]})");
  EXPECT_EQ(powerCodes(gpu(1), 6), (std::vector<int>{0, 0, 10, 10, 0, 0}));
  EXPECT_EQ(powerCodes(gpu(0), 4), (std::vector<int>{0, 0, 0, 0}));
  unsigned value = 0;
  char text[64];
  EXPECT_EQ(nvmlDeviceGetFanSpeed(gpu(0), &value), NVML_ERROR_OPERATING_SYSTEM);
  EXPECT_EQ(nvmlDeviceGetSerial(gpu(2), text, sizeof text), NVML_ERROR_OPERATING_SYSTEM);
  EXPECT_EQ(nvmlDeviceGetSerial(gpu(1), text, sizeof text), NVML_SUCCESS);
}

TEST_F(FaultTest, ByChanceIsTheSameChanceAgain) {
  const std::string json = R"({"gpus": [{"count": 2}], "faults": [
    {"operation": "nvmlDeviceGetPowerUsage", "code": 10, "probability": 0.3, "seed": 5}]})";
  start(json);
  const std::vector<int> first = powerCodes(gpu(0), 1000);
  const std::vector<int> other = powerCodes(gpu(1), 1000);
  start(json);
  EXPECT_EQ(powerCodes(gpu(0), 1000), first);
  EXPECT_NE(other, first);
  EXPECT_NEAR(static_cast<double>(std::count(first.begin(), first.end(), 10)), 300, 60);
}

TEST(FaultPlan, HoldsForItsTime) {
  Fault fault;
  fault.operations.set(indexOf(Operation::nvmlDeviceGetName));
  fault.code = NVML_ERROR_TIMEOUT;
  fault.after = 10 * kSecond;
  fault.duration = 5 * kSecond;
  fault.latency = 250;
  const FaultPlan plan({fault});
  const auto code = [&](Time age) {
    return plan.outcome(Operation::nvmlDeviceGetName, 0, 1, age).code;
  };
  EXPECT_EQ(code(-kSecond), NVML_SUCCESS);
  EXPECT_EQ(code(10 * kSecond - 1), NVML_SUCCESS);
  EXPECT_EQ(code(10 * kSecond), NVML_ERROR_TIMEOUT);
  EXPECT_EQ(code(15 * kSecond - 1), NVML_ERROR_TIMEOUT);
  EXPECT_EQ(code(15 * kSecond), NVML_SUCCESS);
  EXPECT_EQ(plan.outcome(Operation::nvmlDeviceGetName, 0, 1, 12 * kSecond).latency, 250);
  EXPECT_FALSE(plan.concerns(Operation::nvmlDeviceGetSerial));
}

}  // namespace
}  // namespace zansim
