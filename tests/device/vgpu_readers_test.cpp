#include "device/vgpu_readers.h"

#include "support/fake_library.h"

#include <algorithm>

namespace zanctl {
namespace {

class VgpuReadersTest : public FakeLibrary {
 protected:
  VgpuReadersTest() {
    holdDevices(1);
    typeReads = 0;
    library().nvmlDeviceGetActiveVgpus.bind(
        [](nvmlDevice_t, unsigned int* count, nvmlVgpuInstance_t* ids) {
          const unsigned int room = *count;
          *count = 3;
          if (room < 3) return NVML_ERROR_INSUFFICIENT_SIZE;
          for (unsigned int i = 0; i < 3; ++i) ids[i] = i;
          return NVML_SUCCESS;
        });
  }

  inline static int typeReads = 0;
};

TEST_F(VgpuReadersTest, markWhatTheLibraryDoesNotSupply) {
  const auto instances = readVgpuInstances();
  ASSERT_EQ(instances.size(), 3U);
  const VgpuInstance& instance = instances[2];
  EXPECT_EQ(instance.id, 2U);
  for (const std::string& text :
       {instance.vmUuid, instance.vmName, instance.typeName, instance.uuid, instance.mdevUuid,
        instance.guestDriverVersion, instance.busId}) {
    EXPECT_EQ(text, "N/A");
  }
  EXPECT_EQ(instance.eccMode + instance.memoryTotal + instance.memoryUsed + instance.memoryFree,
            0U);
  EXPECT_TRUE(readVgpuSamples().empty());
  EXPECT_TRUE(readVgpuProcessSamples().empty());
  EXPECT_TRUE(readVgpuTypes(VgpuTypes::creatable).empty());
  EXPECT_FALSE(isInVgpuMode());
}

TEST_F(VgpuReadersTest, readATypeOnceAndItsMemoryToTheByte) {
  library().nvmlVgpuInstanceGetType.bind([](nvmlVgpuInstance_t, nvmlVgpuTypeId_t* type) {
    *type = 256;
    return NVML_SUCCESS;
  });
  library().nvmlVgpuTypeGetFramebufferSize.bind([](nvmlVgpuTypeId_t, unsigned long long* bytes) {
    ++typeReads;
    *bytes = 2ULL << 30U;
    return NVML_SUCCESS;
  });
  library().nvmlVgpuInstanceGetFbUsage.bind([](nvmlVgpuInstance_t id, unsigned long long* bytes) {
    *bytes = id == 2 ? 3ULL << 30U : id;
    return NVML_SUCCESS;
  });
  const auto instances = readVgpuInstances();
  EXPECT_EQ(typeReads, 1);
  EXPECT_EQ(instances[0].memoryFree, 2048U);
  EXPECT_EQ(instances[1].memoryFree, 2047U) << "a byte less than the total is not all of it";
  EXPECT_EQ(instances[2].memoryFree, 0U) << "more used than there is";
}

TEST_F(VgpuReadersTest, takeTheValueThatTheLibraryNames) {
  static nvmlValueType_t type = NVML_VALUE_TYPE_UNSIGNED_INT;
  static nvmlValue_t value{};
  library().nvmlDeviceGetVgpuUtilization.bind([](nvmlDevice_t, unsigned long long since,
                                                 nvmlValueType_t* valueType, unsigned int* count,
                                                 nvmlVgpuInstanceUtilizationSample_t* samples) {
    EXPECT_EQ(since, 0U);
    const unsigned int room = *count;
    *count = 1;
    *valueType = type;
    if (room == 0) return NVML_ERROR_INSUFFICIENT_SIZE;
    samples[0] = {77, 1, value, value, value, value};
    return NVML_SUCCESS;
  });
  const auto read = [](nvmlValueType_t asType) {
    type = asType;
    return readVgpuSamples().at(0).utilization.decoder;
  };
  value.ullVal = 42;
  for (const nvmlValueType_t integer :
       {NVML_VALUE_TYPE_UNSIGNED_INT, NVML_VALUE_TYPE_UNSIGNED_LONG,
        NVML_VALUE_TYPE_UNSIGNED_LONG_LONG, NVML_VALUE_TYPE_SIGNED_LONG_LONG}) {
    EXPECT_EQ(read(integer), 42U);
  }
  value.dVal = 42.9;
  EXPECT_EQ(read(NVML_VALUE_TYPE_DOUBLE), 42U);
  for (const double none : {-1.0, 1e300, std::numeric_limits<double>::quiet_NaN()}) {
    value.dVal = none;
    EXPECT_EQ(read(NVML_VALUE_TYPE_DOUBLE), 0U);
  }
}

TEST_F(VgpuReadersTest, takeAProcessNameThatFillsItsField) {
  library().nvmlDeviceGetVgpuProcessUtilization.bind(
      [](nvmlDevice_t, unsigned long long, unsigned int* count,
         nvmlVgpuProcessUtilizationSample_t* samples) {
        const unsigned int room = *count;
        *count = 1;
        if (room == 0) return NVML_ERROR_INSUFFICIENT_SIZE;
        samples[0].timeStamp = ~0ULL;
        std::fill_n(samples[0].processName, sizeof samples[0].processName, 'n');
        return NVML_SUCCESS;
      });
  EXPECT_EQ(readVgpuProcessSamples().at(0).name, std::string(64, 'n'));
}

}  // namespace
}  // namespace zanctl
