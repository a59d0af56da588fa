#include "vgpu/views.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

namespace zanctl {
namespace {

VgpuView oneGpu() {
  VgpuView view{};
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
  const std::string text = written(view, writeVgpuQuery);
  EXPECT_TRUE(
      text.starts_with("GPU: 00000000:3B:00.0\n"
                       "    Active vGPUs                                : c\n"))
      << text;
  std::istringstream lines(text);
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    EXPECT_TRUE(line.find(':') == 48 || line.find(':') == std::string::npos) << line;
  }
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
