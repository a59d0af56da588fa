// Every command on a machine that has one fault: the middle one of three GPUs fails an operation,
// is lost, has no handle, grows its lists; the library lacks an operation; everything is slow.
#include "support/host.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>

namespace zanctl {
namespace {

constexpr char kHealthy[] = "three_healthy_gpus.json";
constexpr char kIdle[] = "three_idle_gpus.json";
constexpr char kVgpus[] = "three_vgpu_hosts.json";

// A golden file's name, the machine, and the command of a shell.
struct Command {
  const char* name;
  const char* machine;
  const char* script;
  // Whether it reads what no other command here does.
  bool readsMore = true;
};

const Command kCommands[] = {
    {"summary", kHealthy, "zanctl"},
    {"list", kHealthy, "zanctl -L", false},
    {"text_report", kHealthy, "zanctl -q"},
    {"hardware_report", kHealthy, "zanctl -q -d HARDWARE_MONITOR"},
    {"xml_report", kHealthy, "zanctl -q -x", false},
    {"properties", kHealthy,
     R"sh(zanctl --query-gpu=$(zanctl --help-query-gpu | sed -n 's/^"\([^"]*\)".*/\1/p' |
            grep -v -e timestamp -e ^driver -e ^cuda -e ^count | paste -sd,) --format=csv |
          tr , '\n')sh",
     false},
    {"compute_query", kHealthy,
     "zanctl --query-compute-apps=gpu_uuid,name,used_memory --format=csv", false},
    {"device_monitor", kHealthy, "zanctl dmon -c 1", false},
    {"engine_monitor", kHealthy, "zanctl dmon -c 1 -o JV"},
    {"process_monitor", kHealthy, "zanctl pmon -c 1"},
    {"statistics", kHealthy, "zanctl stats -c 1"},
    {"matrix", kHealthy, "zanctl topo -m"},
    {"p2p_matrix", kHealthy, "zanctl topo --p2p r"},
    {"nearest", kHealthy, "zanctl topo -n 5 -i 1"},
    {"path", kHealthy, "zanctl topo -p -i 0,1", false},
    {"cpu_affinity", kHealthy, "zanctl topo -c 5"},
    {"reset", kIdle, "zanctl -r -i 1"},
    {"ce_mask", kIdle, "zanctl --ce 0x7C -i 1"},
    {"vgpu_list", kVgpus, "zanctl vgpu", false},
    {"vgpu_query", kVgpus, "zanctl vgpu -q"},
    {"vgpu_types", kVgpus, "zanctl vgpu -s -v"},
    {"vgpu_creatable", kVgpus, "zanctl vgpu -c -v", false},
    {"vgpu_utilization", kVgpus, "zanctl vgpu -u | head -n 8"},
    {"vgpu_processes", kVgpus, "zanctl vgpu -p | head -n 8"},
};

std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// A line with its process id, and what else has three digits, hidden along with the blanks before.
std::string withoutProcessId(const std::string& line) {
  std::string text;
  for (std::size_t begin = 0; begin < line.size();) {
    const std::size_t end = std::min(line.find_first_not_of("0123456789", begin), line.size());
    const bool standsAlone = begin > 0 && (line[begin - 1] == ' ' || line[begin - 1] == '>') &&
                             (end == line.size() || std::isalnum(line[end]) == 0);
    if (end - begin >= 3 && line[begin] != '0' && standsAlone) {
      text.erase(text.find_last_not_of(" >") + 1);
      text += " #";
      begin = end;
    } else {
      const std::size_t length = std::max<std::size_t>(end - begin, 1);
      text.append(line, begin, length);
      begin += length;
    }
  }
  return text;
}

bool showsProcess(const std::string& line) {
  return line.find("train") != std::string::npos || line.find("pid") != std::string::npos ||
         line.find("Process ID") != std::string::npos;
}

// Output and status, without the process ids, which no two runs share.
std::string play(Host& host, const Command& command) {
  const Outcome run = host.runScript(command.script);
  std::string text;
  for (const std::string& line : linesOf(run.out + run.err)) {
    text += (showsProcess(line) ? withoutProcessId(line) : line) + "\n";
  }
  return fmt::format("{}[status {}]\n", text, run.status);
}

// The lines that differ, as `diff` would show them: a longest common subsequence stays out.
std::string changes(const std::string& before, const std::string& after) {
  const auto a = linesOf(before);
  const auto b = linesOf(after);
  std::vector<std::vector<std::size_t>> common(a.size() + 1,
                                               std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = a.size(); i-- > 0;) {
    for (std::size_t j = b.size(); j-- > 0;) {
      common[i][j] =
          a[i] == b[j] ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);
    }
  }
  std::string text;
  for (std::size_t i = 0, j = 0; i < a.size() || j < b.size();) {
    if (i < a.size() && j < b.size() && a[i] == b[j]) {
      ++i, ++j;
    } else if (j == b.size() || (i < a.size() && common[i + 1][j] >= common[i][j + 1])) {
      text += "- " + a[i++] + "\n";
    } else {
      text += "+ " + b[j++] + "\n";
    }
  }
  return text;
}

std::string fault(const std::string& operation, const std::string& how) {
  return fmt::format(R"("faults": [{{"operation": "{}", {}}}],)", operation, how);
}

class FaultMatrix : public testing::TestWithParam<Command> {
 protected:
  std::string playWith(const std::string& keys) {
    Host host = Host::fromFile(GetParam().machine, keys);
    return play(host, GetParam());
  }
};

// The codes other than success, by turns. 7 asks for a larger array, which no array would satisfy.
int codeOf(std::size_t turn) {
  constexpr int kUnknown = 999;
  constexpr int kDocumented = 21;
  const int code = static_cast<int>(turn % (kDocumented + 1)) + 1;
  return code > kDocumented ? kUnknown : code;
}

TEST_P(FaultMatrix, marksWhatCouldNotBeRead) {
  Host healthy = Host::fromFile(GetParam().machine);
  const std::string before = play(healthy, GetParam());
  std::string text = before;
  std::size_t turn = 0;
  for (const auto& [operation, count] : healthy.callCounts()) {
    const std::string onOne = changes(
        before, playWith(fault(operation, fmt::format(R"("gpu": 1, "code": {})", codeOf(turn++)))));
    text += onOne.empty() ? "" : fmt::format("== {} fails for GPU 1\n{}", operation, onOne);
    if (!onOne.empty() && !GetParam().readsMore) continue;
    const std::string everywhere = playWith(fault(operation, R"("code": 13)"));
    if (onOne.empty())
      text += fmt::format("== {} fails\n{}", operation, changes(before, everywhere));
    if (!GetParam().readsMore) continue;
    EXPECT_EQ(playWith(fmt::format(R"("missing": ["{}"],)", operation)), everywhere) << operation;
  }
  text += "== GPU 1 is lost\n" + changes(before, playWith(R"("lost": [{"gpu": 1}],)"));
  text += "== GPU 1's lists grow between two calls\n" +
          changes(before, playWith(fault("*", R"("gpu": 1, "grow": 2)")));
  expectGolden(fmt::format("faults/{}.txt", GetParam().name), text);
}

// The stamps may move, and a table's cells with them, but the lines are the same.
TEST_P(FaultMatrix, waitsForASlowLibrary) {
  const auto before = linesOf(playWith(""));
  const auto slow = linesOf(playWith(fault("*", R"("latency_us": 20000)")));
  EXPECT_EQ(slow.size(), before.size());
  EXPECT_EQ(slow.back(), before.back());
}

std::string nameOf(const testing::TestParamInfo<Command>& test) { return test.param.name; }

INSTANTIATE_TEST_SUITE_P(Commands, FaultMatrix, testing::ValuesIn(kCommands), nameOf);

// What the commands share reads a code, so one command of each kind stands for all.
TEST(FaultCodes, readAlike) {
  for (const char* script : {"zanctl -q -x", "zanctl dmon -c 1", "zanctl topo -m"}) {
    const Command command{"", kHealthy, script};
    const auto playWith = [&](int code) {
      Host host =
          Host::fromFile(kHealthy, fault("*", fmt::format(R"("gpu": 1, "code": {})", code)));
      return play(host, command);
    };
    const std::string expected = playWith(codeOf(0));
    for (std::size_t turn = 1; turn <= 21; ++turn) {
      EXPECT_EQ(playWith(codeOf(turn)), expected) << script << " " << codeOf(turn);
    }
  }
}

TEST(LostGpu, showsItsMarksFromThePassOn) {
  std::string text;
  for (const char* script :
       {"zanctl dmon -c 4", "zanctl pmon -c 4", "zanctl stats -d temp,gpuUtil -c 4",
        "zanctl -l 1 | grep -A1 -e Timestamp -e '^| 1 ' | head -n 24",
        "zanctl --query-gpu=index,temperature.gpu --format=csv,noheader -l 1 | head -n 12"}) {
    Host host = Host::fromFile(kHealthy, R"("lost": [{"gpu": 1, "after": 1.5, "for": 1}],)");
    text += fmt::format("$ {}\n{}", script, play(host, {"", kHealthy, script}));
  }
  expectGolden("faults/lost_midway.txt", text);
}

}  // namespace
}  // namespace zanctl
