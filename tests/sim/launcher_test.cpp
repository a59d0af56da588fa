#include "zansim_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <sstream>

namespace zansim {
namespace {

// NOLINTNEXTLINE(cert-err58-cpp): no test runs without memory
const std::string kProbe = ZANSIM_PROBE;

class LauncherTest : public ZansimTest {};

bool exists(const std::string& pid) { return std::filesystem::exists("/proc/" + pid); }

std::string commandLineOf(const std::string& pid) {
  std::ifstream file("/proc/" + pid + "/cmdline");
  std::string line{std::istreambuf_iterator<char>(file), {}};
  std::replace(line.begin(), line.end(), '\0', ' ');
  return line;
}

std::vector<std::string> words(const std::string& line) {
  std::istringstream stream(line);
  return {std::istream_iterator<std::string>(stream), {}};
}

TEST_F(LauncherTest, EndsAsItsCommandDoes) {
  EXPECT_EQ(script("exit 0").status, 0);
  EXPECT_EQ(script("exit 42").status, 42);
  EXPECT_EQ(script("kill -KILL $$").status, 128 + SIGKILL);
  EXPECT_EQ(zansim({}, {"no-such-command-at-all"}).status, 127);
  EXPECT_EQ(zansim({}, {"/etc/passwd"}).status, 126);
}

TEST_F(LauncherTest, RefusesWhatItCannotSetUp) {
  struct {
    std::vector<std::string> arguments;
    std::string message;
  } const kRefusals[] = {
      {{"true"}, "The following argument was not expected: true\n"},
      {{"--host", "eigth-gpu", "--", "true"},
       "zansim: there is no host \"eigth-gpu\", did you mean \"eight-gpu\"?\n"},
      {{"--host", "/nonexistent.json", "--", "true"},
       "/nonexistent.json: No such file or directory\n"},
      {{"--start-time", "yesterday", "--", "true"},
       "--start-time: \"yesterday\" is no local time like \"2024-03-07 09:59:58\"\n"},
      {{"--state", "/dev/null/x", "--", "true"}, "zansim: "},
      {{"--show-state"}, "zansim: --show-state needs --state\n"},
      {{"--frobnicate", "--", "true"}, "The following argument was not expected: --frobnicate\n"},
  };
  for (const auto& refusal : kRefusals) {
    std::vector<std::string> line{ZANSIM_PROGRAM};
    line.insert(line.end(), refusal.arguments.begin(), refusal.arguments.end());
    const RunResult result = Program(line).finish();
    EXPECT_EQ(result.status, 125);
    EXPECT_TRUE(result.output.starts_with(refusal.message)) << result.output;
  }
  workspace.write("host.json", R"({"gpus": [{"nam": 3}]})");
  const RunResult result = script("echo reached");
  EXPECT_EQ(result.status, 125);
  EXPECT_EQ(result.output,
            workspace.path("host.json") + ":1: /gpus/0/nam: unknown key, did you mean \"name\"?\n");
}

TEST_F(LauncherTest, ChecksADescription) {
  const std::string good = workspace.path("host.json");
  const RunResult correct = Program({ZANSIM_PROGRAM, "--check", good}).finish();
  EXPECT_EQ(correct.status, 0);
  EXPECT_EQ(correct.output, good + ": a correct description of a machine with 3 GPUs\n");
  const std::string bad = workspace.write("bad.json", "{\"gpus\": [],\n\"x\": 1,\n\"cpus\": 0}");
  const RunResult result = Program({ZANSIM_PROGRAM, "--check", bad}).finish();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 2) << result.output;
}

TEST_F(LauncherTest, ProcessesAreRealAndEndWithIt) {
  workspace.write("host.json", R"({"gpus": [{"processes": [
    {"command": ["python3", "a b", "--gpu={i}"]}, {"length": 5000}, {"kind": "dead"},
    {"kind": "zombie"}, {"kind": "self"}, {"pid": 1}, {"command": "in-vm", "vgpu": true}]},
    {}], "processes": [{"command": "shared", "gpus": [0, 1], "count": 2}]})");
  Program run(
      commandLine({}, {"sh", "-c", kProbe + " pids:0 pids:1 vgpu-pids:0; exec tail -f /dev/null"}));
  const std::vector<std::string> first = words(run.readLine());
  const std::vector<std::string> second = words(run.readLine());
  const std::vector<std::string> vgpu = words(run.readLine());
  ASSERT_EQ(first.size(), 9U);
  EXPECT_EQ(commandLineOf(first[0]), "shared ");
  EXPECT_NE(first[0], first[1]);
  EXPECT_EQ(second, (std::vector<std::string>{first[0], first[1]}));
  EXPECT_EQ(commandLineOf(first[2]), "python3 a b --gpu=0 ");
  EXPECT_EQ(commandLineOf(first[3]).size(), 5001U);
  EXPECT_FALSE(exists(first[4]));
  EXPECT_TRUE(exists(first[5]));
  EXPECT_EQ(commandLineOf(first[5]), "") << "a zombie has no command line";
  EXPECT_EQ(first[7], "1");
  EXPECT_EQ(vgpu, std::vector<std::string>{first[8]});
  EXPECT_EQ(commandLineOf(vgpu[0]), "in-vm ");
  kill(run.pid(), SIGTERM);
  EXPECT_EQ(run.finish().status, 128 + SIGTERM);
  for (const std::string& pid : {first[0], first[1], first[2], first[3], first[5], first[8]}) {
    EXPECT_FALSE(exists(pid)) << pid;
  }
}

TEST_F(LauncherTest, ProcessesDoNotSurviveItsSuddenEnd) {
  workspace.write("host.json", R"({"gpus": [{"processes": [{"command": "a"}]}]})");
  Program run(commandLine({"--state", workspace.path("state")},
                          {"sh", "-c", kProbe + " pids:0; exec tail -f /dev/null"}));
  const std::string pid = words(run.readLine()).at(0);
  std::ifstream children(fmt::format("/proc/{0}/task/{0}/children", run.pid()));
  const std::vector<std::string> before{std::istream_iterator<std::string>(children), {}};
  kill(run.pid(), SIGKILL);
  for (const std::string& child : before) {
    if (child != pid) kill(std::stoi(child), SIGKILL);
  }
  run.finish();
  // The kernel ends it; how soon is up to the kernel.
  for (int i = 0; i < 10'000 && exists(pid) && !commandLineOf(pid).empty(); ++i) usleep(100);
  EXPECT_EQ(commandLineOf(pid), "");
}

TEST_F(LauncherTest, FollowsAnEditedDescription) {
  workspace.write("host.json", R"({"gpus": [{"processes": [{"command": "old"}]}]})");
  Program run(commandLine({"--state", workspace.path("state")},
                          {"sh", "-c", "while " + kProbe + " pids:0; do :; done"}));
  const std::string old = words(run.readLine()).at(0);
  EXPECT_EQ(commandLineOf(old), "old ");
  workspace.write("host.json",
                  R"({"gpus": [{"processes": [{"command": "new"}, {"command": "newer"}]}]})");
  std::vector<std::string> pids;
  while (pids.size() < 2) pids = words(run.readLine());
  EXPECT_EQ(commandLineOf(pids[0]), "new ");
  EXPECT_EQ(commandLineOf(pids[1]), "newer ");
  EXPECT_FALSE(exists(old));
  kill(run.pid(), SIGKILL);
  // The loop ends when nobody reads its answers any more.
}

TEST_F(LauncherTest, PassesSignalsOn) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP}) {
    Program run(commandLine(
        {},
        {"bash", "-c",
         "trap 'echo got it; exit 3' INT TERM HUP QUIT TSTP; echo ready; while :; do :; done"}));
    EXPECT_EQ(run.readLine(), "ready");
    kill(run.pid(), signal);
    const RunResult result = run.finish();
    EXPECT_EQ(result.status, 3) << signal;
    EXPECT_EQ(result.output, "got it\n");
  }
}

TEST_F(LauncherTest, StopsAndGoesOnWithItsCommand) {
  Program run(commandLine({}, {"sh", "-c", "echo ready; kill -STOP $$; echo on again"}));
  EXPECT_EQ(run.readLine(), "ready");
  int status = 0;
  waitpid(run.pid(), &status, WUNTRACED);
  EXPECT_TRUE(WIFSTOPPED(status));
  kill(run.pid(), SIGCONT);
  const RunResult result = run.finish();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "on again\n");
}

TEST_F(LauncherTest, StateBelongsToTheRunOrToTheDirectory) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may change a GPU";
  const std::string own = output("echo $ZANSIM_STATE");
  EXPECT_FALSE(std::filesystem::exists(own.substr(0, own.size() - 1)));

  const std::string state = workspace.path("state");
  EXPECT_EQ(output(kProbe + " reset:2 reset:2", {"--state", state}), "0\n0\n");
  EXPECT_EQ(output(kProbe + " reset:1", {"--state", state}), "0\n");
  EXPECT_EQ(output(kProbe + " reset:1", {"--state", state, "--uid", "1000"}), "4\n");
  const RunResult shown = Program({ZANSIM_PROGRAM, "--state", state, "--show-state"}).finish();
  EXPECT_EQ(shown.output, "resets 3\ngpu1 reset_status 0 resets 1\ngpu2 reset_status 0 resets 2\n");
}

TEST_F(LauncherTest, ADaemonOutlivesIt) {
  const std::string state = workspace.path("state");
  const std::string left = output(
      "(trap '' HUP; while [ ! -e /var/run/end ]; do :; done; echo ended > /var/run/daemon) "
      "</dev/null >/dev/null 2>&1 & echo left",
      {"--state", state});
  EXPECT_EQ(left, "left\n");
  workspace.write("state/run/end", "");
  while (!std::filesystem::exists(workspace.path("state/run/daemon"))) usleep(100);
}

TEST_F(LauncherTest, TheLibraryCanLackOperationsOrBeMissing) {
  EXPECT_EQ(output(kProbe + " has:nvmlDeviceGetName has:nvmlDeviceGetFanSpeed"), "1\n1\n");
  workspace.write("host.json", R"({"gpus": [{}], "missing": ["nvmlDeviceGetFanSpeed", "zanml*"]})");
  EXPECT_EQ(output(kProbe + " has:nvmlDeviceGetName has:nvmlDeviceGetFanSpeed "
                            "has:zanmlDeviceReset has:nvmlDeviceGetPowerUsage name:0"),
            "1\n0\n0\n1\nZanthe KV100\n");
  workspace.write("host.json", R"({"gpus": [{}], "library": false})");
  const RunResult result = zansim({}, {kProbe});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output,
            "libzanml.so: cannot open shared object file: No such file or directory\n");
}

TEST_F(LauncherTest, TracesToTheFileWhereverTheCommandGoes) {
  const std::string trace = workspace.path("trace");
  output("cd / && " + kProbe + " name:0", {"--trace", trace});
  const std::vector<std::string> written = words(workspace.read("trace"));
  const std::vector<std::string> expected{written.at(0),
                                          "nvmlInit()",
                                          "=",
                                          "0",
                                          written[0],
                                          "nvmlDeviceGetHandleByIndex_v2(0)",
                                          "=",
                                          "0",
                                          written[0],
                                          "nvmlDeviceGetName(gpu0,",
                                          "64)",
                                          "=",
                                          "0"};
  EXPECT_EQ(written, expected);
}

}  // namespace
}  // namespace zansim
