// Reset and copy-engine masks: what is printed, and what was changed.
#include "support/host.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace zanctl {
namespace {

// GPUs on buses 1 to 4: two free ones, one in use by two processes and itself, one in vGPU mode.
std::string fourGpus(std::string_view more = "") {
  return machineOf(R"(
    {"pci": {"bus": 1}, "ce": {"mask": 252, "supported": 252}, "processes": [{"kind": "self"}]},
    {"pci": {"bus": 2}, "ce": {"mask": 252, "supported": 252}, "virtualization_mode": "host_vgpu"},
    {"pci": {"bus": 3}, "ce": {"mask": 252, "supported": 124},
     "processes": [{"pid": 4000001}, {"kind": "self"}, {"pid": 4000002}]},
    {"pci": {"bus": 4}, "ce": {"mask": 252, "supported": 252}, "virtualization_mode": "vgpu"})",
                   more);
}

// The changes that the last run asked for, in their order.
std::vector<std::string> changes(const Host& host) {
  std::vector<std::string> calls = host.calls();
  std::erase_if(calls, [](const std::string& call) {
    return call.find("Set") == std::string::npos && call.find("DeviceReset(") == std::string::npos;
  });
  return calls;
}

using Calls = std::vector<std::string>;

constexpr const char* kBusy =
    "1 devices are currently being used by one or more other processes (e.g., Fabric Manager, CUDA "
    "application, or a monitoring application such as another instance of zanctl). Please first "
    "kill all processes using these devices and all compute applications running in the system.";
constexpr const char* kInUse =
    "GPU 00000000:03:00.0 is currently in use by another process, pid: 4000001 4000002 \n";

TEST(Reset, resetsFreeGpusBetweenSettingAndClearingTheMarker) {
  Host host = Host::described(fourGpus());
  const Outcome run = host.run("-r -i 0,1");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out,
            "GPU 00000000:01:00.0  was successfully reset.\n"
            "GPU 00000000:02:00.0  was successfully reset.\nAll done.\n");
  EXPECT_EQ(changes(host),
            (Calls{"zanmlDeviceSetResetStatus(gpu0, 1) = 0", "zanmlDeviceReset(gpu0) = 0",
                   "zanmlDeviceReset(gpu1) = 0", "zanmlDeviceSetResetStatus(gpu0, 0) = 0"}));
  const Calls calls = host.calls();
  const auto set = std::find(calls.begin(), calls.end(), "zanmlDeviceSetResetStatus(gpu0, 1) = 0");
  EXPECT_EQ(set[-1], "zanmlDeviceGetResetStatus(gpu0) = 0")
      << "nothing stands between reading the marker and setting it";
}

TEST(Reset, passesOverGpusInUse) {
  Host host = Host::described(fourGpus());
  const Outcome run = host.run("-r -i 2,0");
  EXPECT_EQ(run.status, 255);
  EXPECT_EQ(run.out,
            "GPU 00000000:01:00.0  was successfully reset.\n" + std::string(kInUse) + "\n" + kBusy +
                "\nYou might also meet this issue when using zanctl inside a container. Please add "
                "'--pid=host' when starting the container, or use the zanctl out of the container "
                "when performing the reset.\n1 devices failed to reset!\n");
  EXPECT_EQ(changes(host).back(), "zanmlDeviceSetResetStatus(gpu0, 0) = 0");
}

TEST(Reset, stopsAtAVirtualGpuAndAtAGpuThatCannotBeFound) {
  Host host = Host::described(fourGpus());
  Outcome run = host.run("-r -i 1,3");
  EXPECT_EQ(run.status, 255);
  EXPECT_EQ(run.out,
            "GPU 00000000:02:00.0  was successfully reset.\n"
            "GPU Reset couldn't run because GPU GPU 00000000:04:00.0 is in vGPU mode.\n");
  EXPECT_EQ(changes(host).back(), "zanmlDeviceSetResetStatus(gpu0, 0) = 0");
  Host lost = Host::described(fourGpus(
      R"("faults": [{"operation": "nvmlDeviceGetHandleByIndex_v2", "gpu": 1, "code": 15}])"));
  run = lost.run("-r -i 1");
  EXPECT_EQ(run.status, 255);
  EXPECT_EQ(run.out, "GPU Reset failed because system can not get current GPU pci bus info.\n");
  EXPECT_EQ(changes(lost), (Calls{"zanmlDeviceSetResetStatus(gpu0, 1) = 0",
                                  "zanmlDeviceSetResetStatus(gpu0, 0) = 0"}));
}

TEST(Reset, tellsTheCodeOfAFailedReset) {
  Host host =
      Host::described(fourGpus(R"("faults": [{"operation": "zanmlDeviceReset", "code": 3}])"));
  const Outcome run = host.run("-r -i 0");
  EXPECT_EQ(run.status, 255);
  EXPECT_EQ(run.out,
            "GPU 00000000:01:00.0  was failed to reset with error 3 .\n1 devices failed to "
            "reset!\n");
  EXPECT_EQ(changes(host).back(), "zanmlDeviceSetResetStatus(gpu0, 0) = 0");
}

TEST(Reset, isRefusedWithoutRootWithoutGpusAndWithoutTheMarker) {
  Host host = Host::described(fourGpus());
  host.launchWith({"--uid", "1000"});
  Outcome run = host.run("-r -i 0,3");
  EXPECT_EQ(run.status, 255);
  EXPECT_EQ(run.out,
            "Unable to reset GPU 00000000:01:00.0 : Insufficient Permissions\n"
            "Unable to reset GPU 00000000:04:00.0 : Insufficient Permissions\n");
  EXPECT_EQ(changes(host), Calls{});
  for (const char* fault :
       {R"({"operation": "nvmlDeviceGetCount_v2", "code": 999})",
        R"({"operation": "nvmlDeviceGetCount_v2", "code": 999, "from_call": 2})",
        R"({"operation": "zanmlDeviceGetResetStatus", "code": 999})"}) {
    Host ill = Host::described(fourGpus(fmt::format(R"("faults": [{}])", fault)));
    run = ill.run("-r");
    EXPECT_EQ(run.status, 255) << fault;
    EXPECT_EQ(run.out,
              "The reset command cannot be executed at the same time, Please try again later.\n")
        << fault;
    EXPECT_EQ(changes(ill), Calls{}) << fault;
  }
}

TEST(Reset, refusesToBeTerminated) {
  Host host = Host::described(
      machineOf("{}", R"("faults": [{"operation": "zanmlDeviceReset", "latency_us": 2000000}])"));
  host.useClock(Clock::real);
  const std::string trace = (host.directory() / "trace").string();
  const Outcome run = host.runScript(
      "$zanctl -r & until grep -q 'SetResetStatus(gpu0, 1)' '" + trace +
      "'; do :; done 2>/dev/null\nfor signal in INT QUIT TERM TSTP; do kill -$signal $!; sleep "
      "0.05; done; wait $!");
  const std::string notice = "This command cannot be terminated, please wait...\n";
  EXPECT_EQ(run.out, notice + notice + notice +
                         "GPU 00000000:17:00.0  was successfully reset.\nAll done.\n");
  EXPECT_EQ(run.status, 0);
}

TEST(Reset, isRefusedWhileAnotherRuns) {
  Host host = Host::described(
      machineOf("{}", R"("faults": [{"operation": "zanmlDeviceReset", "latency_us": 2000000}])"));
  host.useClock(Clock::real);
  const std::string trace = (host.directory() / "trace").string();
  const Outcome run = host.runScript(
      "$zanctl -r >/dev/null & until grep -q "
      "'SetResetStatus(gpu0, 1) = 0' '" +
      trace +
      "'; do :; done 2>/dev/null\n$zanctl -r; s=$?; wait $! "
      "&& exit $s");
  EXPECT_EQ(run.status, 255);
  EXPECT_NE(
      run.out.find("\nThe reset command cannot be executed at the same time, Please try again "
                   "later.\nIf no other"),
      std::string::npos)
      << run.out;
  EXPECT_EQ(host.callCounts()["zanmlDeviceReset"], 1);
}

TEST(CeMask, isSetOnFreeGpusAsTyped) {
  Host host = Host::described(fourGpus());
  Outcome run = host.run("--ce 0x7c -i 1,0");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out,
            "GPU 00000000:01:00.0  was successfully set CE mask to 0x7c.\n"
            "GPU 00000000:02:00.0  was successfully set CE mask to 0x7c.\nAll done.\n");
  EXPECT_EQ(changes(host),
            (Calls{"zanmlDeviceSetCeMask(gpu0, 124) = 0", "zanmlDeviceSetCeMask(gpu1, 124) = 0"}));
  EXPECT_EQ(host.callCounts()["zanmlDeviceSetResetStatus"], 0);
  run = host.run("--ce 4 -i 1,2");
  EXPECT_EQ(run.status, 255);
  EXPECT_EQ(run.out, "GPU 00000000:02:00.0  was successfully set CE mask to 4.\n" +
                         std::string(kInUse) + "\n" + kBusy +
                         "\n1 devices failed to set CE mask!\n");
  run = host.run("--ce 0x00000000004 -i 1,3");
  EXPECT_EQ(run.status, 255);
  EXPECT_EQ(run.out,
            "GPU 00000000:02:00.0  was successfully set CE mask to 0x00000000004.\n"
            "GPU set CE mask couldn't run because GPU GPU 00000000:04:00.0 is in vGPU mode.\n");
}

TEST(CeMask, isCheckedOnEveryGpuBeforeTheFirstChange) {
  Host host = Host::described(fourGpus());
  for (const char* mask : {"0x", "0xG1", "-1", "0x 7E", "7E ", "x7E", "0x0x1"}) {
    const Outcome run = host.runWords({"--ce", mask, "-i", "0"});
    EXPECT_EQ(run.status, 255) << mask;
    EXPECT_EQ(run.out,
              fmt::format("Set CE Operation mask \"{}\" is not an valid hex input.\n", mask));
    EXPECT_EQ(changes(host), Calls{}) << mask;
  }
  for (const char* mask : {"", "0", "0x01", "100000000", "10000000000000004", "0xFFFFFFFF", "80"}) {
    const Outcome run = host.runWords({"--ce", mask, "-i", "0,2"});
    EXPECT_EQ(run.status, 255) << mask;
    EXPECT_EQ(run.out, fmt::format("Set CE Operation mask \"{}\" is out of range.\n", mask));
    EXPECT_EQ(changes(host), Calls{}) << mask;
  }
  host.launchWith({"--uid", "1"});
  EXPECT_EQ(host.run("--ce 4 -i 0").out,
            "Unable to set CE mask of GPU 00000000:01:00.0 : Insufficient Permissions\n");
  EXPECT_EQ(changes(host), Calls{});
}

TEST(CeMask, tellsTheCodeOfARefusal) {
  Host host = Host::described(
      fourGpus(R"("faults": [{"operation": "zanmlDeviceSetCeMask", "gpu": 0, "code": 999}])"));
  const Outcome run = host.run("--ce 4 -i 0,1");
  EXPECT_EQ(run.status, 255);
  EXPECT_EQ(run.out,
            "GPU 00000000:01:00.0  was failed to set CE mask, ret with error 999 .\n"
            "GPU 00000000:02:00.0  was successfully set CE mask to 4.\n"
            "1 devices failed to set CE mask!\n");
}

TEST(Control, neverTakesAGpuWithManyProcessesForFree) {
  for (const char* fault : {R"({"operation": "nvmlDeviceGetFanSpeed", "code": 3})",
                            R"({"operation": "zanmlDeviceGetComputeAllProcesses", "grow": 3})",
                            R"({"operation": "zanmlDeviceGetComputeAllProcesses", "code": 7})"}) {
    Host host = Host::described(machineOf(R"({"ce": {"mask": 4, "supported": 4},
                      "processes": [{"pid": 4000000, "count": 25}]})",
                                          fmt::format(R"("faults": [{}])", fault)));
    for (const char* command : {"-r", "--ce 4"}) {
      const Outcome run = host.run(command);
      EXPECT_EQ(run.status, 255) << fault;
      EXPECT_EQ(run.out.find("GPU 00000000:17:00.0 is currently in use by another process, pid: "),
                0U)
          << run.out;
      EXPECT_EQ(host.callCounts()["zanmlDeviceReset"] + host.callCounts()["zanmlDeviceSetCeMask"],
                0);
    }
  }
}

}  // namespace
}  // namespace zanctl
