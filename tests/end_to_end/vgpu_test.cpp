// The virtual GPUs of whole machines.
#include "support/host.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace zanctl {
namespace {

// A GPU with two vGPUs, one of them never sampled; one with none; one without vGPU mode. `more`
// are further keys of the machine.
Host smallHost(const std::string& more = "") {
  return Host::described(machineOf(
      R"(
    {"name": "Zanthe KV100V", "virtualization_mode": "vgpu", "utilization": {"gpu": 55, "memory": 1},
     "vgpu": {"supported": [256, 271], "creatable": [271], "instances": [
       {"id": 26, "type": 256, "ecc": true, "fb_used": "1 GiB", "uuid": "uuid-26", "mdev_uuid": "mdev-26",
        "vm": {"name": "amber", "uuid": "a41c0d2e"},
        "utilization": {"sm": 40, "memory": 12, "encoder": 3, "decoder": 8},
        "processes": [{"pid": 2212, "name": "render", "sm": 33, "memory": 9, "encoder": 1, "decoder": 4}]},
       {"id": 43981, "type": 256, "sample": false, "driver_version": "unavailable", "uuid": "uuid-b",
        "mdev_uuid": "unavailable", "vm": {"name": "unavailable", "uuid": "b000"}}]}},
    {"virtualization_mode": "host_vgpu", "vgpu": {}},
    {"virtualization_mode": "passthrough"})",
      R"("driver_version": "1.8.2", "vgpu_types": [
      {"id": 256, "name": "KV100-2Q", "class": "Quadrant", "framebuffer": "2 GiB", "max_instances": 16},
      {"id": 271, "name": "KV100-32C", "class": "Compute", "subsystem_id": "0x00241f5a"}])" +
          more));
}

constexpr const char* kGpu0 = "GPU: 00000000:17:00.0\n";
constexpr const char* kGpu1 = "GPU: 00000000:1E:00.0\n";
constexpr const char* kUtilizationHead =
    "# GPU       vGPU    sm   mem   enc   dec\n"
    "# Idx         Id     %     %     %     %\n";
constexpr const char* kUtilizationRows =
    "    0       001a    40    12     3     8\n"
    "    1          -     -     -     -     -\n";
constexpr const char* kNoneLeft = "Not supported devices in vGPU mode\n";

// What is left of a monitor when the GPUs leave vGPU mode after this many passes.
std::string leavesAfter(int passes) {
  return fmt::format(R"(, "faults": [{{"operation": "nvmlDeviceGetVirtualizationMode",
                     "from_call": {}, "code": "not_supported"}}])",
                     passes + 1);
}

void expectAnswer(const Outcome& run, const std::string& answer) {
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, answer);
}

void expectRefusal(const Outcome& run, const std::string& message) {
  EXPECT_EQ(run.status, 255) << message;
  EXPECT_EQ(run.out, message);
}

TEST(Vgpu, listsWhatRunsOnce) {
  Host host = smallHost();
  expectAnswer(host.run("vgpu"), R"(Timestamp    Sat Mar  7 12:00:00 2026
+-----------------------------------------------------------------------------+
|      ZAN-ML: 1.8.2                   Driver Version: 1.8.2                  |
|---------------------------------+------------------------------+------------|
| GPU  Name                       | Bus-Id                       | GPU-Util   |
|      vGPU ID     Name           | VM ID     VM Name            | vGPU-Util  |
|=================================+==============================+============|
| 0    Zanthe KV100V              | 00000000:17:00.0             | 55%        |
|       001a  KV100-2Q            | a41c...  amber               |    40%     |
|       abcd  KV100-2Q            | b000...  N/A                 |    40%     |
+---------------------------------+------------------------------+------------+
| 1    Zanthe KV100               | 00000000:1E:00.0             | 0%         |
+---------------------------------+------------------------------+------------+
)");
}

TEST(Vgpu, queriesEveryVgpu) {
  expectAnswer(smallHost().run("vgpu -q"),
               std::string(kGpu0) +
                   R"(    Active vGPUs                                : 2
    vGPU ID                                     : 001a
        VM UUID                                 : a41c0d2e
        VM Name                                 : amber
        vGPU Name                               : KV100-2Q
        vGPU UUID                               : uuid-26
        MDEV UUID                               : mdev-26
        Guest Driver Version                    : 1.8.2
        ECC Mode                                : Enabled
        PCI
            Bus Id                              : 00000000:17:00.0
        Memory Usage
            Total                               : 2048 MiB
            Used                                : 1024 MiB
            Free                                : 1024 MiB
        Utilization
            Gpu                                 : 40 %
            Memory                              : 12 %
            Encoder                             : 3 %
            Decoder                             : 8 %
    vGPU ID                                     : abcd
        VM UUID                                 : b000
        VM Name                                 : N/A
        vGPU Name                               : KV100-2Q
        vGPU UUID                               : uuid-b
        MDEV UUID                               : N/A
        Guest Driver Version                    : N/A
        ECC Mode                                : Disabled
        PCI
            Bus Id                              : 00000000:17:00.0
        Memory Usage
            Total                               : 2048 MiB
            Used                                : 0 MiB
            Free                                : 2048 MiB
        Utilization
            Gpu                                 : 0 %
            Memory                              : 0 %
            Encoder                             : 0 %
            Decoder                             : 0 %
)" + kGpu1 + "    Active vGPUs                                : 0\n");
}

TEST(Vgpu, listsTypes) {
  Host host = smallHost();
  const std::string none = std::string(kGpu1) + "No vGPUs found on this device\n";
  const std::string large = R"(    vGPU Type ID                                : 0x10f
        Name                                    : KV100-32C
        Class                                   : Compute
        Max Instances                           : 8
        Device ID                               : 0x1C011F5A
        Sub System ID                           : 0x00241F5A
)";
  const std::string small = R"(    vGPU Type ID                                : 0x100
        Name                                    : KV100-2Q
        Class                                   : Quadrant
        Max Instances                           : 16
        Device ID                               : 0x1C011F5A
        Sub System ID                           : 0x00201F5A
)";
  expectAnswer(host.run("vgpu -s"), std::string(kGpu0) + "    KV100-2Q\n    KV100-32C\n" + none);
  expectAnswer(host.run("vgpu -c"), std::string(kGpu0) + "    KV100-32C\n" + none);
  expectAnswer(host.run("vgpu -s -v"), kGpu0 + small + large + none);
  expectAnswer(host.run("vgpu -c -v -i 0"), kGpu0 + large);
}

TEST(Vgpu, scrollsUntilNoGpuIsInVgpuModeAndRepeatsTheHead) {
  std::string expected;
  for (int pass = 0; pass < 11; ++pass) {
    if (pass % 10 == 0) expected += kUtilizationHead;
    expected += kUtilizationRows;
  }
  Host host = smallHost(leavesAfter(11));
  expectAnswer(host.run("vgpu -u"), expected + kNoneLeft);
  EXPECT_EQ(host.callCounts()["nvmlDeviceGetVgpuUtilization"], 11 * 3)
      << "a list and its size, or the size alone where it is 0";

  expectAnswer(smallHost(leavesAfter(1)).run("vgpu -p"),
               "# GPU       vGPU    process    sm   mem   enc   dec   process\n"
               "# Idx         Id         Id     %     %     %     %   name\n"
               "    0       001a       2212    33     9     1     4   render\n"
               "    0       abcd          -     -     -     -     -   -\n"
               "    1          -          -     -     -     -     -   -\n" +
                   std::string(kNoneLeft));
}

TEST(Vgpu, keepsItsInterval) {
  Host host = smallHost(leavesAfter(3));
  const std::string out = host.run("vgpu -l 7 -i 1").out;
  for (const char* time : {"12:00:00", "12:00:07", "12:00:14"}) {
    EXPECT_NE(out.find(fmt::format("Timestamp    Sat Mar  7 {} 2026\n+--", time)),
              std::string::npos)
        << out;
  }
  EXPECT_TRUE(out.ends_with("+\n" + std::string(kNoneLeft))) << out;
}

TEST(Vgpu, refusesWithTheMessageOfTheOption) {
  Host host = smallHost();
  const std::string loop =
      "Provided [-l | --loop=] value is incorrect. Loop frequency must be greater than 0.\n"
      "Run with vgpu --help for more information.\n";
  for (const char* value : {"-l", "-l 0", "-l abc", "--loop= -q", "-l 99999999999999999999 -u"}) {
    expectRefusal(host.run(fmt::format("vgpu {}", value)), loop);
  }
  expectRefusal(host.run("vgpu -i 3"), "No device were found\n");
  expectRefusal(host.run("vgpu -u -i ,"), "No device were found\n");
  expectAnswer(host.run("vgpu -i 2"), kNoneLeft);
  expectAnswer(Host("eight-gpu").run("vgpu -u"), kNoneLeft);
  expectAnswer(smallHost(R"(, "missing": ["nvmlDeviceGetCount_v2"])").run("vgpu"), "");
}

TEST(Vgpu, showsWhatALibraryWithoutTheOperationsLeaves) {
  Host host = smallHost(R"(, "missing": ["nvmlVgpu*", "zanmlVgpu*", "nvmlDeviceGetVgpu*",
                                        "nvmlDeviceGetSupportedVgpus"])");
  const std::string out = host.run("vgpu").out;
  EXPECT_NE(
      out.find(
          "\n|       001a  N/A                 | N/A ...  N/A                 |    0%      |\n"),
      std::string::npos)
      << out;
  expectAnswer(host.run("vgpu -s -i 0"), kGpu0 + std::string("No vGPUs found on this device\n"));
  expectAnswer(host.run("vgpu -c -i 0"), kGpu0 + std::string("    N/A\n"));
}

TEST(Vgpu, followsAListThatGrowsButNotForEver) {
  const auto grown = [](const std::string& more) {
    return smallHost(fmt::format(
        R"(, "faults": [{{"operation": "nvmlDeviceGetActiveVgpus", "grow": 2 {}}}])", more));
  };
  const std::string count = "    Active vGPUs                                : ";
  EXPECT_NE(grown("").run("vgpu -q -i 0").out.find(count + "4\n"), std::string::npos);
  expectAnswer(grown(R"(, "keeps_growing": true)").run("vgpu -q -i 0"), kGpu0 + count + "0\n");
}

TEST(Vgpu, readsEachListOncePerGpu) {
  Host host("vgpu-host");
  ASSERT_EQ(host.run("vgpu -q -i 0").status, 0);
  auto counts = host.callCounts();
  EXPECT_EQ(counts["nvmlDeviceGetActiveVgpus"], 2) << "the size and the list";
  EXPECT_EQ(counts["nvmlDeviceGetVgpuUtilization"], 2);
  EXPECT_EQ(counts["nvmlVgpuTypeGetName"], 1) << "twelve vGPUs of one type";
  EXPECT_EQ(counts["nvmlDeviceGetSupportedVgpus"], 0);
}

}  // namespace
}  // namespace zanctl
