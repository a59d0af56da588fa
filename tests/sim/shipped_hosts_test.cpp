#include "description/host_reader.h"
#include "description/operations.h"
#include "workspace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include <dlfcn.h>

namespace zansim {
namespace {

Host shipped(const std::string& name) {
  HostReading reading = readHostFile(std::string(ZANSIM_HOSTS) + "/" + name + ".json");
  EXPECT_TRUE(reading.host) << (reading.problems.empty() ? "" : reading.problems.front());
  return reading.host.value_or(Host{});
}

TEST(ShippedHosts, AreAllGoodAndDescribed) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(ZANSIM_HOSTS)) {
    names.insert(entry.path().stem());
    EXPECT_FALSE(shipped(entry.path().stem()).description.empty()) << entry.path();
  }
  EXPECT_EQ(names, (std::set<std::string>{"eight-gpu", "failing-host", "large-host", "one-gpu",
                                          "vgpu-host"}));
}

TEST(ShippedHosts, AreWhatTheirNamesSay) {
  const Host eight = shipped("eight-gpu");
  ASSERT_EQ(eight.gpus.size(), 8U);
  EXPECT_EQ(eight.gpus[0][Number::boardId].value, eight.gpus[1][Number::boardId].value);
  EXPECT_NE(eight.gpus[3].place->numaNode, eight.gpus[4].place->numaNode);
  EXPECT_EQ(shipped("large-host").gpus.size(), 64U);
  const Host vgpu = shipped("vgpu-host");
  EXPECT_EQ(vgpu.gpus[0].vgpu.instances.size(), 12U);
  const auto lost = shipped("failing-host").faults;
  EXPECT_TRUE(std::any_of(lost.begin(), lost.end(), [](const Fault& fault) {
    return fault.code == NVML_ERROR_GPU_IS_LOST && fault.operations.all();
  }));
}

TEST(ShippedLibrary, HasEveryOperation) {
  void* const library = dlopen(ZANSIM_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  for (const std::string_view name : kOperationNames) {
    EXPECT_NE(dlsym(library, std::string(name).c_str()), nullptr) << name;
  }
}

}  // namespace
}  // namespace zansim
