#include "request/option_values.h"
#include "request/options.h"
#include "support/fake_library.h"

#include <fmt/format.h>

#include <sstream>

namespace zanctl {
namespace {

// GPU i sits in domain 0 on bus 3 + i, but for GPU 1, in domain 0x10, and has no PCI information
// from GPU 15 on. GPU 2 has no UUID.
class SelectionTest : public FakeLibrary {
 protected:
  SelectionTest() {
    library().nvmlDeviceGetUUID.bind([](nvmlDevice_t device, char* text, unsigned int size) {
      if (gpuOf(device) == 2) return NVML_ERROR_NOT_SUPPORTED;
      return answerText(text, size, uuidOf(gpuOf(device)));
    });
    library().nvmlDeviceGetPciInfo.bind([](nvmlDevice_t device, nvmlPciInfo_t* pci) {
      const std::uint32_t gpu = gpuOf(device);
      if (gpu >= 15) return NVML_ERROR_GPU_IS_LOST;
      pci->domain = gpu == 1 ? 0x10 : 0;
      pci->bus = 3 + gpu;
      pci->device = 0;
      return NVML_SUCCESS;
    });
  }

  static std::string uuidOf(std::uint32_t gpu) {
    return fmt::format("GPU-{:08x}-0000-0000-0000-000000000000", gpu);
  }

  static std::int32_t resolve(const std::string& text) { return resolveDeviceId(text); }
};

TEST_F(SelectionTest, readsDecimalThenHexadecimalIndices) {
  holdDevices(12);
  EXPECT_EQ(resolve("0"), 0);
  EXPECT_EQ(resolve("007"), 7);
  EXPECT_EQ(resolve("11"), 11);
  EXPECT_EQ(resolve("12"), -1) << "neither 12 nor 0x12 is a GPU";
  EXPECT_EQ(resolve("a"), 10);
  EXPECT_EQ(resolve("0xB"), 11);
  EXPECT_EQ(resolve("0X1"), 1);
  session() = DeviceSession{};
  holdDevices(17);
  EXPECT_EQ(resolve("10"), 10);
  EXPECT_EQ(resolve("0x10"), 16);
}

TEST_F(SelectionTest, neverTakesMalformedOrHugeNumbersForAnIndex) {
  holdDevices(12);
  for (const char* text :
       {"", "-1", "+1", " 1", "1 ", "0x", "x1", "1,2", "4294967296", "18446744073709551616",
        "99999999999999999999999999", "0x100000000", "0x10000000000000001", "1.", "1g"}) {
    EXPECT_LT(resolve(text), 0) << text;
  }
}

TEST_F(SelectionTest, matchesUuidsWholeAndNeverAnUnreadableOne) {
  holdDevices(12);
  EXPECT_EQ(resolve(uuidOf(11)), 11);
  EXPECT_EQ(resolve(uuidOf(2)), -1);
  EXPECT_EQ(resolve(uuidOf(11).substr(0, 39)), -1);
  EXPECT_EQ(resolve("N/A"), -1);
}

TEST_F(SelectionTest, matchesBusIdsByDomainBusAndDevice) {
  holdDevices(16);
  for (const char* text : {"0000:03:00.0", "3:0.0", "00000000:03:00.0", "00000000:00000003:0.7"}) {
    EXPECT_EQ(resolve(text), 0) << text;
  }
  EXPECT_EQ(resolve("10:4:0.0"), 1);
  EXPECT_EQ(resolve("0:D:0.0"), 10);
  for (const char* text :
       {"4:0.0", "0:3:0", "3:0.", ".0", "3:.0", ":3:0.0", "0:0:3:0.0", "000000000:3:0.0",
        "0x0:3:0.0", "3:0.0 ", "3:0.g", "3:1.0", "0:12:0.0", "0:0.0"}) {
    EXPECT_EQ(resolve(text), -1) << text;
  }
}

TEST_F(SelectionTest, resolvesListsToSetsOrRefusesThemWhole) {
  holdDevices(4);
  DeviceSet selection;
  std::ostringstream out;
  EXPECT_EQ(resolveDevices(kUnset, selection, out), 0);
  EXPECT_TRUE(selection.empty());
  EXPECT_EQ(resolveDevices("3,0,0x3," + uuidOf(1), selection, out), 0);
  EXPECT_EQ(selection, (DeviceSet{0, 1, 3}));
  EXPECT_EQ(resolveDevices(",2,,", selection, out), 0);
  EXPECT_EQ(selection, (DeviceSet{2}));
  EXPECT_EQ(out.str(), "");
  for (const char* list : {"", ",", "0,9", "9,0", "0, 1", "GPU-", "0,-1"}) {
    out.str("");
    EXPECT_EQ(resolveDevices(list, selection, out), -1) << list;
    EXPECT_EQ(out.str(), "No device were found\n");
    EXPECT_TRUE(selection.empty());
  }
  holdDevices(0);
}

}  // namespace
}  // namespace zanctl
