#include "library_test.h"
#include "machine/descriptor.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zansim {
namespace {

class StateTest : public LibraryTest {
 protected:
  StateTest() {
    std::filesystem::create_directory(workspace.path("state"));
    const Descriptor directory(open(workspace.path("state").c_str(), O_RDONLY | O_DIRECTORY));
    createState(directory.number(), kSecond);
    setenv(kStateVariable, workspace.path("state").c_str(), 1);
  }

  // Whether the work succeeded in another process.
  template <typename Work>
  bool elsewhere(Work work) {
    const pid_t child = fork();
    if (child == 0) _exit(work() ? 0 : 1);
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0;
  }
};

TEST_F(StateTest, IsSharedAndOutlivesItsUsers) {
  start(R"({"gpus": [{"count": 2}], "seed": 3})");
  if (geteuid() != 0) GTEST_SKIP() << "only root may change a GPU";
  EXPECT_TRUE(elsewhere([&] {
    return zanmlDeviceSetCeMask(gpu(1), 0x7c) == NVML_SUCCESS &&
           zanmlDeviceSetResetStatus(gpu(0), 1) == NVML_SUCCESS &&
           zanmlDeviceReset(gpu(1)) == NVML_SUCCESS;
  }));
  const auto expectState = [&] {
    int status = 0;
    unsigned mask = 0;
    unsigned supported = 0;
    EXPECT_EQ(zanmlDeviceGetResetStatus(gpu(0), &status), NVML_SUCCESS);
    EXPECT_EQ(status, 1);
    EXPECT_EQ(zanmlDeviceGetResetStatus(gpu(1), &status), NVML_SUCCESS);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(zanmlDeviceGetCeMask(gpu(1), &mask, &supported), NVML_SUCCESS);
    EXPECT_EQ(mask, 0x7cU);
    EXPECT_EQ(supported, 0xfcU);
    EXPECT_EQ(zanmlDeviceGetCeMask(gpu(0), &mask, &supported), NVML_SUCCESS);
    EXPECT_EQ(mask, 0xfcU);
    EXPECT_EQ(Session::ofProcess().state()->gpus[1].resets, 1U);
  };
  expectState();
  start(R"({"gpus": [{"count": 2}], "seed": 4})");
  expectState();
}

TEST_F(StateTest, ConcurrentChangesAreAllCounted) {
  start(R"({"gpus": [{}]})");
  if (geteuid() != 0) GTEST_SKIP() << "only root may change a GPU";
  constexpr unsigned kProcesses = 4;
  constexpr unsigned kResets = 2000;
  std::vector<pid_t> children;
  for (unsigned i = 0; i < kProcesses; ++i) {
    children.push_back(fork());
    if (children.back() != 0) continue;
    for (unsigned n = 0; n < kResets; ++n) zanmlDeviceReset(gpu(0));
    _exit(0);
  }
  for (const pid_t child : children) waitpid(child, nullptr, 0);
  EXPECT_EQ(Session::ofProcess().state()->gpus[0].resets, kProcesses * kResets);
  EXPECT_EQ(Session::ofProcess().state()->resetCount, kProcesses * kResets);
}

}  // namespace
}  // namespace zansim
