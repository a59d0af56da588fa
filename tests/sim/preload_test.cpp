#include "zansim_run.h"

namespace zansim {
namespace {

class PreloadTest : public ZansimTest {};

TEST_F(PreloadTest, DevicesAreTheMachines) {
  EXPECT_EQ(output("cd / && ls /dev && ls -d /dev/zanthe1 && [ -c /dev/null ] && "
                   "[ ! -e /dev/zanthe3 ] && echo seen >/dev/null && head -c0 /dev/zero"),
            "full\nnull\ntty\nzanthe0\nzanthe1\nzanthe2\nzanthectl\nzero\n/dev/zanthe1\n");
  workspace.write("host.json", R"({"gpus": [{}], "driver_nodes": false})");
  EXPECT_EQ(output("ls /dev"), "full\nnull\ntty\nzero\n");
  workspace.write("host.json", R"({"gpus": [{}], "driver_nodes": "unreadable"})");
  EXPECT_NE(script("ls /dev").status, 0);
}

TEST_F(PreloadTest, DevicesFollowTheHostOfTheState) {
  const std::vector<std::string> state{"--state", workspace.path("state")};
  EXPECT_EQ(output("ls /dev | grep -c zanthe", state), "4\n");
  workspace.write("host.json", R"({"gpus": [{}]})");
  EXPECT_EQ(output("ls /dev | grep zanthe", state), "zanthe0\nzanthectl\n");
}

TEST_F(PreloadTest, RunAndLogDirectoriesAreTheMachines) {
  const std::vector<std::string> state{"--state", workspace.path("state")};
  EXPECT_EQ(output("cd /var/run && echo 17 > /var/run/zanctl_daemon.pid && "
                   "cat /var/run/zanctl_daemon.pid && [ ! -e /var/log/zanctl ] && "
                   "mkdir /var/log/zanctl && echo line >> /var/log/zanctl/a && "
                   "mv /var/log/zanctl/a /var/log/zanctl/b && ls /var/log/zanctl",
                   state),
            "17\nb\n");
  EXPECT_EQ(workspace.read("state/run/zanctl_daemon.pid"), "17\n");
  EXPECT_EQ(workspace.read("state/log/zanctl/b"), "line\n");
  EXPECT_EQ(output("rm -r /var/log/zanctl && rm /var/run/zanctl_daemon.pid && ls /var/run", state),
            "");
  // Also step by step, which is how "mkdir -p" goes.
  EXPECT_EQ(
      output("mkdir -p /var/log/zanctl/old && ln -s old /var/log/zanctl/link && cd /var/log && "
             "touch zanctl/file && ls zanctl",
             state),
      "file\nlink\nold\n");
  EXPECT_EQ(workspace.read("state/log/zanctl/file"), "");
  // Its neighbours are the real ones.
  EXPECT_EQ(output("mkdir -p " + workspace.path("x") + " && ls -d /var/log /tmp"),
            "/tmp\n/var/log\n");
}

TEST_F(PreloadTest, ResolvedPathsHideTheRedirection) {
  EXPECT_EQ(output("mkdir /var/log/zanctl && realpath -e /var/log/zanctl"), "/var/log/zanctl\n");
}

TEST_F(PreloadTest, ProcessorsAndNodesAreTheMachines) {
  workspace.write("host.json", R"({"cpus": 96, "numa_nodes": [{}, {}, {}], "gpus": []})");
  EXPECT_EQ(output("getconf _NPROCESSORS_ONLN; cat /sys/devices/system/node/online"), "96\n0-2\n");
  workspace.write("host.json", R"({"cpus": 3, "gpus": []})");
  EXPECT_EQ(output("getconf _NPROCESSORS_ONLN; cat /sys/devices/system/node/online"), "3\n0\n");
}

TEST_F(PreloadTest, TheUserCanBeAnother) {
  EXPECT_EQ(output("id -u", {"--uid", "4711"}), "4711\n");
  EXPECT_EQ(output("id -u", {"--uid", "0"}), "0\n");
  EXPECT_EQ(output("id -u"), std::to_string(geteuid()) + "\n");
}

TEST_F(PreloadTest, TheClockStartsWhereItIsTold) {
  // A second may pass between the start and the question.
  const std::string shown = output("date '+%F %H:%M'", {"--start-time", "2024-02-29 23:59:01"});
  EXPECT_EQ(shown, "2024-02-29 23:59\n");
}

TEST_F(PreloadTest, TheVirtualClockMovesBySleeping) {
  const std::vector<std::string> state{"--state", workspace.path("state"), "--virtual-clock"};
  std::vector<std::string> started = state;
  started.insert(started.end(), {"--start-time", "2024-03-07 09:59:58"});
  EXPECT_EQ(output("date +%T.%N; sleep 1; date +%T.%N; sleep 0.25; date +%T.%N; "
                   "sleep 100000; date +%F",
                   started),
            "09:59:58.000000000\n09:59:59.000000000\n09:59:59.250000000\n2024-03-08\n");
  // The clock is the machine's: another run finds it where the first one left it.
  EXPECT_EQ(output("date +%F; sleep 86400; date +%F", state), "2024-03-08\n2024-03-09\n");
}

TEST_F(PreloadTest, TheVirtualClockMovesByWaiting) {
  EXPECT_EQ(output("date +%T; " ZANSIM_PROBE " wait:; date +%T; " ZANSIM_PROBE " wait:x; date +%T",
                   {"--virtual-clock", "--start-time", "2024-03-07 09:59:58"}),
            "09:59:58\n0 0 0 0 0 0\n10:00:48\n1 1 1 1 1 10\n10:00:48\n");
}

TEST_F(PreloadTest, LatenciesTakeVirtualTimeAndSignalsFollowIt) {
  workspace.write("host.json", R"({"gpus": [{"name": "x"}],
    "faults": [{"operation": "nvmlDeviceGetName", "latency_us": 1500000}]})");
  EXPECT_EQ(output("date +%T.%3N; " ZANSIM_PROBE " name:0 name:0; date +%T.%3N",
                   {"--virtual-clock", "--start-time", "2024-03-07 09:59:58"}),
            "09:59:58.000\nx\nx\n10:00:01.000\n");
}

}  // namespace
}  // namespace zansim
