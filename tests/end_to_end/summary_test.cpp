// The summary table and the GPU list of whole machines.
#include "support/host.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace zanctl {
namespace {

constexpr const char* kThreeGpus = "three_gpus.json";

TEST(SummaryCommand, printsTheWholeTable) {
  Host host = Host::fromFile(kThreeGpus);
  const Outcome run = host.run("");
  EXPECT_EQ(run.status, 0);
  expectGolden("summary.txt", run.out);
  // A process that is gone counts as found, also on a GPU that was not selected.
  expectGolden("summary_of_one.txt", host.run("-i 1").out);
  expectGolden("summary_of_two.txt", host.run("-i A:AF:0.0,0,0").out);
}

TEST(SummaryCommand, withoutGpusPrintsTheEmptyTableAndAnEmptyList) {
  for (const char* machine : {R"({"init": 9, "gpus": [{}]})",
                              R"({"gpus": [{}], "faults": [
                                  {"operation": "nvmlDeviceGetCount_v2", "code": 999}]})"}) {
    Host host = Host::described(machine);
    const std::string out = host.run("").out;
    EXPECT_NE(out.find("==|\n\n+--"), std::string::npos) << out;
    EXPECT_NE(out.find("==|\n|  No running processes found "), std::string::npos) << out;
    const Outcome list = host.run("-L");
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(list.out, "");
  }
}

TEST(SummaryCommand, namesRealProcesses) {
  Host host = Host::described(machineOf(R"(
      {"processes": [{"command": ["python3", "train it.py"], "memory": "3 GiB"},
                     {"command": ["/opt/a/very/long/path/to/some/program/name", "--flag"], "memory": 1},
                     {"kind": "zombie", "memory": 0},
                     {"length": 42, "memory": "1 TiB"},
                     {"command": "hypervisor", "vgpu": true, "memory": "2 MiB"}]})"));
  const Outcome run = host.run("");
  std::vector<std::string> rows;
  std::istringstream lines(run.out.substr(run.out.find("Usage(MiB)")));
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("|    0")) rows.push_back(line.substr(23));
  }
  ASSERT_EQ(rows.size(), 5U) << run.out;
  EXPECT_EQ(rows[0], "python3 train it.py                         3072       |");
  EXPECT_EQ(rows[1], "/opt/a/very/long/path/to/some/program/name  0          |");
  EXPECT_NE(rows[2].find("] <defunct> "), std::string::npos) << rows[2];
  EXPECT_EQ(rows[3].substr(42), "  1048576    |");
  EXPECT_EQ(rows[4], "vgpu                                        2          |");
}

TEST(SummaryCommand, keepsARowForAGpuThatCannotBeRead) {
  Host host = Host::described(machineOf(
      R"({"count": 4, "name": "Zanthe KV100"})",
      R"("faults": [{"operation": "nvmlDeviceGetHandleByIndex_v2", "gpu": 2, "code": 15}])"));
  const Outcome run = host.run("");
  EXPECT_EQ(run.status, 0);
  for (const char* row :
       {"| 0    Zanthe KV100 ", "| 1    Zanthe KV100 ",
        "| 2    N/A                      | 00000000:00:00.0     | 0MHz      0MHz "
        "      |\n| N/A  N/A   P32   N/A / N/A    | 0MiB / 0MiB          | 0%     "
        "   Default    |\n",
        "| 3    N/A "}) {
    EXPECT_NE(run.out.find(row), std::string::npos) << row << run.out;
  }
  EXPECT_EQ(host.run("-L").out.substr(host.run("-L").out.find("GPU  2")),
            "GPU  2: N/A (UUID: N/A)\nGPU  3: N/A (UUID: N/A)\n");
}

TEST(SummaryCommand, worksWithALibraryThatLacksOperations) {
  Host host = Host::described(machineOf(
      "{}",
      R"("missing": ["zanmlDeviceGetBoardPosition", "nvmlDeviceGetTemperature", "nvmlDeviceGetClock",
                     "nvmlSystemGetNVMLVersion", "zanmlDeviceGetResetStatus", "getDeviceVgpuPids"])"));
  const Outcome run = host.run("");
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("|  ZAN-ML: N/A         Driver"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find(" N/A   P"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("| 0MHz      0MHz       |"), std::string::npos) << run.out;
}

TEST(GpuListCommand, alignsIndicesAndMarksWhatItCannotRead) {
  Host host = Host::fromFile(kThreeGpus);
  EXPECT_EQ(host.run("-L").out,
            "GPU  0: Zanthe KV100 (UUID: GPU-00000000-1111-2222-3333-444444444444)\n"
            "GPU  1: Zanthe KV100 (UUID: N/A)\n"
            "GPU  2: Zanthe KV50 of a name too long for it (UUID: GPU-2)\n");
  Host large("large-host");
  const std::string list = large.run("-L").out;
  EXPECT_NE(list.find("\nGPU  9: "), std::string::npos);
  EXPECT_NE(list.find("\nGPU 10: "), std::string::npos);
}

TEST(SummaryLoop, refusesPeriodsThatAreNone) {
  Host host = Host::fromFile(kThreeGpus);
  for (const char* value : {"0", "abc", "-1", "99999999999999999999"}) {
    const Outcome run = host.run(std::string("-l ") + value);
    EXPECT_EQ(run.status, 0) << value;
    EXPECT_EQ(run.out,
              fmt::format("Provided [-l | --loop=] value is incorrect. Loop frequency must be "
                          "greater than 0.\nThe value -l, --loop is not an allowed value for {}. "
                          "Run with --help for more information.\n\n",
                          value));
  }
}

TEST(SummaryLoop, writesAWholeTableAPassUntilTheFileVanishes) {
  Host host = Host::fromFile(kThreeGpus);
  const std::string log = (host.directory() / "log").string();
  for (const auto& [loop, seconds] :
       std::map<std::string, int>{{"-l", 5}, {"-l 7", 7}, {"--loop=", 5}, {"-l 2x", 2}}) {
    // Time stands still but for the sleep between the passes, so each pass has its own second.
    const Outcome run = host.runScript(
        fmt::format("$zanctl -f {0} {1} &\nuntil grep -q 12:00:{2:02} {0}; do :; done 2>/dev/null\n"
                    "cp {0} {0}.kept; rm {0}; wait $!",
                    log, loop, 2 * seconds));
    EXPECT_EQ(run.out, "Failed to write the log file " + log + "\n") << loop;
    EXPECT_EQ(run.status, 0) << loop;
    std::ifstream kept(log + ".kept");
    const std::string text(std::istreambuf_iterator<char>(kept), {});
    for (int pass = 0; pass < 3; ++pass) {
      EXPECT_NE(
          text.find(fmt::format("Timestamp    Sat Mar  7 12:00:{:02} 2026\n", pass * seconds)),
          std::string::npos)
          << loop;
    }
  }
}

TEST(SummaryFile, holdsTheTableInPlaceOfStandardOutput) {
  Host host = Host::fromFile(kThreeGpus);
  const std::string log = (host.directory() / "log").string();
  std::ofstream(log) << "something older and longer\n" << std::string(10'000, 'x');
  const Outcome run = host.runWords({"-f", log, "-i", "1"});
  EXPECT_EQ(run.out, "");
  std::ifstream file(log);
  expectGolden("summary_of_one.txt", std::string(std::istreambuf_iterator<char>(file), {}));
  for (const std::string& name : {host.directory().string(), std::string("/no/such/directory/f")}) {
    const Outcome refused = host.runWords({"-f", name});
    EXPECT_EQ(refused.out, "Failed to create the log file " + name + "\n\n");
    EXPECT_EQ(refused.status, 0);
  }
  const Outcome full = host.run("-f /dev/full -l 1");
  EXPECT_EQ(full.out, "Failed to write the log file /dev/full\n");
  EXPECT_EQ(full.status, 0);
}

TEST(SummaryCalls, askNothingTwiceButTheFanSpeed) {
  Host host("eight-gpu");
  host.run("");
  for (const auto& [operation, count] : host.callCounts()) {
    const bool throughputs = operation == "nvmlDeviceGetPcieThroughput";
    const bool clocks = operation == "nvmlDeviceGetClock";
    const bool fan = operation == "nvmlDeviceGetFanSpeed";
    const bool lists = operation == "nvmlDeviceGetComputeRunningProcesses";
    EXPECT_LE(count, throughputs || clocks || fan || lists ? 16 : 9) << operation;
  }
  host.run("-i 3");
  EXPECT_EQ(host.callCounts()["nvmlDeviceGetName"], 1);
}

}  // namespace
}  // namespace zanctl
