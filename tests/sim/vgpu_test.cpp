#include "library_test.h"

namespace zansim {
namespace {

class VgpuTest : public LibraryTest {
 protected:
  VgpuTest() {
    start(R"({
      "driver_version": "3.0",
      "vgpu_types": [
        {"id": 256, "name": "KV-2Q", "class": "Q", "framebuffer": "2 GiB", "device_id": 3,
         "subsystem_id": "0x100000000", "max_instances": 9},
        {"id": 300, "name": {"fails": "unknown"}}],
      "gpus": [{}, {"pci": {"bus": 59}, "vgpu": {
        "supported": [256, 300], "creatable": [300], "instances": [
          {"id": 26, "type": 256, "vm": {"name": "vm-a", "uuid": "abcd"}, "uuid": "uuid-26",
           "mdev_uuid": "mdev-26", "ecc": true, "fb_used": "1 MiB",
           "utilization": {"sm": 1, "memory": 2, "encoder": 3, "decoder": 4},
           "processes": [{"pid": 5, "name": "p", "sm": 6, "memory": 7, "encoder": 8,
                          "decoder": 9},
                         {"name":
               "0123456789012345678901234567890123456789012345678901234567890123"}]},
          {"type": 300, "count": 2, "sample": false, "processes": [{"name": "unseen"}]}]}}]})");
  }

  template <typename Operation>
  std::string text(Operation operation, nvmlVgpuInstance_t id) {
    char buffer[kZanmlVmTextSize] = {};
    EXPECT_EQ(operation(id, buffer, kZanmlVmTextSize), NVML_SUCCESS);
    return buffer;
  }
};

TEST_F(VgpuTest, InstancesAnswerForThemselves) {
  const auto ids = list<nvmlVgpuInstance_t>([&](unsigned* count, unsigned* entries) {
    return nvmlDeviceGetActiveVgpus(gpu(1), count, entries);
  });
  ASSERT_EQ(ids.size(), 3U);
  EXPECT_EQ(ids[0], 26U);
  EXPECT_NE(ids[1], ids[2]);
  EXPECT_EQ(text(nvmlVgpuInstanceGetUUID, 26), "uuid-26");
  EXPECT_EQ(text(nvmlVgpuInstanceGetMdevUUID, 26), "mdev-26");
  EXPECT_EQ(text(zanmlVgpuInstanceGetVmName, 26), "vm-a");
  EXPECT_EQ(text(nvmlVgpuInstanceGetVmDriverVersion, 26), "3.0");
  EXPECT_NE(text(nvmlVgpuInstanceGetUUID, ids[1]), text(nvmlVgpuInstanceGetUUID, ids[2]));
  char buffer[kZanmlVmTextSize];
  nvmlVgpuVmIdType_t kind = {};
  EXPECT_EQ(nvmlVgpuInstanceGetVmID(26, buffer, sizeof buffer, &kind), NVML_SUCCESS);
  EXPECT_STREQ(buffer, "abcd");
  EXPECT_EQ(kind, NVML_VGPU_VM_ID_UUID);
  unsigned length = 80;
  EXPECT_EQ(nvmlVgpuInstanceGetGpuPciId(26, buffer, &length), NVML_SUCCESS);
  EXPECT_STREQ(buffer, "00000000:3B:00.0");
  nvmlVgpuTypeId_t type = 0;
  EXPECT_EQ(nvmlVgpuInstanceGetType(26, &type), NVML_SUCCESS);
  EXPECT_EQ(type, 256U);
  nvmlEnableState_t ecc = {};
  EXPECT_EQ(nvmlVgpuInstanceGetEccMode(26, &ecc), NVML_SUCCESS);
  EXPECT_EQ(ecc, NVML_FEATURE_ENABLED);
  unsigned long long bytes = 0;
  EXPECT_EQ(nvmlVgpuInstanceGetFbUsage(26, &bytes), NVML_SUCCESS);
  EXPECT_EQ(bytes, 1U << 20U);
  EXPECT_EQ(nvmlVgpuInstanceGetFbUsage(27, &bytes), NVML_ERROR_INVALID_ARGUMENT);
}

TEST_F(VgpuTest, TypesAnswerForThemselves) {
  const auto supported = list<nvmlVgpuTypeId_t>([&](unsigned* count, unsigned* entries) {
    return nvmlDeviceGetSupportedVgpus(gpu(1), count, entries);
  });
  EXPECT_EQ(supported, (std::vector<unsigned>{256, 300}));
  const auto creatable = list<nvmlVgpuTypeId_t>([&](unsigned* count, unsigned* entries) {
    return nvmlDeviceGetCreatableVgpus(gpu(1), count, entries);
  });
  EXPECT_EQ(creatable, std::vector<unsigned>{300});
  char buffer[kZanmlVgpuTypeTextSize];
  unsigned size = 3;
  EXPECT_EQ(nvmlVgpuTypeGetName(256, buffer, &size), NVML_ERROR_INSUFFICIENT_SIZE);
  EXPECT_EQ(size, 6U) << "the NUL is counted";
  EXPECT_EQ(nvmlVgpuTypeGetName(256, buffer, &size), NVML_SUCCESS);
  EXPECT_STREQ(buffer, "KV-2Q");
  EXPECT_EQ(nvmlVgpuTypeGetName(300, buffer, &size), NVML_ERROR_UNKNOWN);
  EXPECT_EQ(nvmlVgpuTypeGetName(1, buffer, &size), NVML_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(nvmlVgpuTypeGetClass(256, buffer, &size), NVML_SUCCESS);
  EXPECT_STREQ(buffer, "Q");
  unsigned long long bytes = 0;
  unsigned long long subsystem = 0;
  EXPECT_EQ(nvmlVgpuTypeGetFramebufferSize(256, &bytes), NVML_SUCCESS);
  EXPECT_EQ(bytes, 2ULL << 30U);
  EXPECT_EQ(nvmlVgpuTypeGetDeviceID(256, &bytes, &subsystem), NVML_SUCCESS);
  EXPECT_EQ(bytes, 3U);
  EXPECT_EQ(subsystem, 0x100000000U);
  unsigned most = 0;
  EXPECT_EQ(nvmlVgpuTypeGetMaxInstances(gpu(1), 256, &most), NVML_SUCCESS);
  EXPECT_EQ(most, 9U);
}

TEST_F(VgpuTest, SamplesAreNewerThanTheOnesSeen) {
  nvmlValueType_t type = {};
  unsigned long long seen = 0;
  const auto ask = [&](unsigned* count, nvmlVgpuInstanceUtilizationSample_t* samples) {
    return nvmlDeviceGetVgpuUtilization(gpu(1), seen, &type, count, samples);
  };
  const auto samples = list<nvmlVgpuInstanceUtilizationSample_t>(ask);
  ASSERT_EQ(samples.size(), 1U) << "the others are not sampled";
  EXPECT_EQ(type, NVML_VALUE_TYPE_UNSIGNED_INT);
  EXPECT_EQ(samples[0].vgpuInstance, 26U);
  EXPECT_EQ(samples[0].smUtil.uiVal, 1U);
  EXPECT_EQ(samples[0].memUtil.uiVal, 2U);
  EXPECT_EQ(samples[0].encUtil.uiVal, 3U);
  EXPECT_EQ(samples[0].decUtil.uiVal, 4U);
  seen = samples[0].timeStamp + 3'600'000'000;
  EXPECT_TRUE(list<nvmlVgpuInstanceUtilizationSample_t>(ask).empty());
}

TEST_F(VgpuTest, ProcessesAreSampledByInstance) {
  const auto samples = list<nvmlVgpuProcessUtilizationSample_t>(
      [&](unsigned* count, nvmlVgpuProcessUtilizationSample_t* entries) {
        return nvmlDeviceGetVgpuProcessUtilization(gpu(1), 0, count, entries);
      });
  ASSERT_EQ(samples.size(), 2U);
  EXPECT_EQ(samples[0].vgpuInstance, 26U);
  EXPECT_EQ(samples[0].pid, 5U);
  EXPECT_STREQ(samples[0].processName, "p");
  EXPECT_EQ(samples[0].smUtil, 6U);
  EXPECT_EQ(samples[0].memUtil, 7U);
  EXPECT_EQ(samples[0].encUtil, 8U);
  EXPECT_EQ(samples[0].decUtil, 9U);
  EXPECT_EQ(samples[1].processName[63], '3') << "a long name leaves no room for its NUL";
}

TEST_F(VgpuTest, GpusWithoutVgpusSaySo) {
  unsigned count = 0;
  EXPECT_EQ(nvmlDeviceGetActiveVgpus(gpu(0), &count, nullptr), NVML_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(nvmlDeviceGetSupportedVgpus(gpu(0), &count, nullptr), NVML_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(nvmlDeviceGetVgpuProcessUtilization(gpu(0), 0, &count, nullptr),
            NVML_ERROR_NOT_SUPPORTED);
}

}  // namespace
}  // namespace zansim
