#include "vgpu/views.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <sstream>

namespace zanctl {
namespace {

VgpuView oneGpu() {
  VgpuView view{};
  view.time = 1772841845;
  view.driverVersion = "535.104.05";
  view.libraryVersion = "N/A";
  view.name = "Zanthe KV100 with a name beyond its column";
  std::strcpy(view.pci.busId, "0001:3B:00.0");
  view.pci.bus = 0x3b;
  view.gpuUtilization = 100;
  return view;
}

VgpuInstance instance(std::uint32_t id) {
  VgpuInstance instance{};
  instance.id = id;
  instance.vmUuid = "a41c0d2e-6b1f";
  instance.vmName = "desktop-amber-with-a-long-name";
  instance.typeName = "KV100-2Q";
  return instance;
}

template <typename Write>
std::string written(const VgpuView& view, const Write& write) {
  std::ostringstream out;
  write(out, 7, view);
  return out.str();
}

TEST(ActiveList, headIsThatOfTheTable) {
  setenv("TZ", "UTC0", 1);
  std::ostringstream out;
  writeActiveListHead(out, oneGpu());
  EXPECT_EQ(out.str(), R"(Timestamp    Sat Mar  7 00:04:05 2026
+-----------------------------------------------------------------------------+
|      ZAN-ML: N/A                     Driver Version: 535.104                |
|---------------------------------+------------------------------+------------|
| GPU  Name                       | Bus-Id                       | GPU-Util   |
|      vGPU ID     Name           | VM ID     VM Name            | vGPU-Util  |
|=================================+==============================+============|
)");
}

TEST(ActiveList, aVgpuWithoutASampleShowsTheValueOfTheRowAbove) {
  VgpuView view = oneGpu();
  for (const std::uint32_t id : {5U, 26U, 6U, 0xfffeU}) view.instances.push_back(instance(id));
  view.samples = {{26, {1, 0, 0, 0}}, {0xfffe, {0xFFFFFFFF, 0, 0, 0}}, {26, {40, 0, 0, 0}}};
  EXPECT_EQ(written(view, writeActiveList),
            R"(| 7    Zanthe KV100 with a name   | 0001:3B:00.0                 | 100%       |
|       0005  KV100-2Q            | a41c...  desktop-amber-with-a|    0%      |
|       001a  KV100-2Q            | a41c...  desktop-amber-with-a|    40%     |
|       0006  KV100-2Q            | a41c...  desktop-amber-with-a|    40%     |
|       fffe  KV100-2Q            | a41c...  desktop-amber-with-a|    N/A     |
+---------------------------------+------------------------------+------------+
)");
}

TEST(ActiveList, aGpuWithoutAnythingKeepsItsRow) {
  VgpuView view{};
  view.name = "N/A";
  EXPECT_EQ(written(view, writeActiveList),
            R"(| 7    N/A                        | N/A                          | 0%         |
+---------------------------------+------------------------------+------------+
)");
}

TEST(VgpuQuery, countsInHexadecimalAndPutsEveryColonInColumn49) {
  VgpuView view = oneGpu();
  for (std::uint32_t id = 1; id <= 12; ++id) view.instances.push_back(instance(id));
  view.instances[0].eccMode = 1;
  view.samples = {{1, {7, 0, 0, 0}}, {1, {97, 30, 2, 1}}};
  const std::string text = written(view, writeVgpuQuery);
  EXPECT_TRUE(text.starts_with(R"(GPU: 00000000:3B:00.0
    Active vGPUs                                : c
    vGPU ID                                     : 0001
        VM UUID                                 : a41c0d2e-6b1f
)")) << text;
  EXPECT_NE(text.find(R"(        ECC Mode                                : Enabled
        PCI
            Bus Id                              : 
        Memory Usage
            Total                               : 0 MiB
            Used                                : 0 MiB
            Free                                : 0 MiB
        Utilization
            Gpu                                 : 97 %
            Memory                              : 30 %
            Encoder                             : 2 %
            Decoder                             : 1 %
    vGPU ID                                     : 0002
)"),
            std::string::npos)
      << text;
  std::istringstream lines(text);
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    EXPECT_TRUE(line.find(':') == 48 || line.find(':') == std::string::npos) << line;
  }
}

TEST(TypeViews, showNamesOrAll) {
  VgpuView view = oneGpu();
  view.types = {{0x10f, "KV100-32C", "Compute", 1, 0x1C011F5A, 0xA00000000}, {}};
  view.types[1].name = "N/A";
  EXPECT_EQ(written(view, writeTypeNames), "GPU: 00000000:3B:00.0\n    KV100-32C\n    N/A\n");
  EXPECT_EQ(written(view, writeTypes), R"(GPU: 00000000:3B:00.0
    vGPU Type ID                                : 0x10f
        Name                                    : KV100-32C
        Class                                   : Compute
        Max Instances                           : 1
        Device ID                               : 0x1C011F5A
        Sub System ID                           : 0xA00000000
    vGPU Type ID                                : 0x0
        Name                                    : N/A
        Class                                   : 
        Max Instances                           : 0
        Device ID                               : 0x00000000
        Sub System ID                           : 0x00000000
)");
  const std::string none = "GPU: 00000000:3B:00.0\nNo vGPUs found on this device\n";
  EXPECT_EQ(written(oneGpu(), writeTypeNames), none);
  EXPECT_EQ(written(oneGpu(), writeTypes), none);
}

TEST(UtilizationMonitor, showsEverySampleOrDashes) {
  VgpuView view{};
  EXPECT_EQ(written(view, writeUtilization), "    7          -     -     -     -     -\n");
  view.samples = {{26, {40, 12, 3, 8}}, {26, {100, 0, 0, 0}}, {0xabcdef, {1, 2, 3, 1000000}}};
  EXPECT_EQ(written(view, writeUtilization),
            "    7       001a    40    12     3     8\n"
            "    7       001a   100     0     0     0\n"
            "    7       abcdef     1     2     31000000\n");
}

TEST(ProcessMonitor, showsTheNamedProcessesOfEachVgpu) {
  VgpuView view{};
  EXPECT_EQ(written(view, writeProcessUtilization),
            "    7          -          -     -     -     -     -   -\n");
  view.vgpuIds = {26, 2, 3};
  view.processSamples = {{2, 1804, "office", {3, 2, 0, 0}},
                         {26, 4294967295, "a browser", {100, 99, 98, 97}},
                         {3, 9, "", {1, 1, 1, 1}},
                         {99, 10, "of another GPU", {1, 1, 1, 1}},
                         {2, 1805, "x", {0, 0, 0, 0}}};
  EXPECT_EQ(written(view, writeProcessUtilization),
            "    7       001a 4294967295   100    99    98    97   a browser\n"
            "    7       0002       1804     3     2     0     0   office\n"
            "    7       0002       1805     0     0     0     0   x\n"
            "    7       0003          -     -     -     -     -   -\n");
}

}  // namespace
}  // namespace zanctl
