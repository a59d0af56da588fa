// Every command on machines of three GPUs whose middle one is ill: an operation fails, the GPU is
// lost, a list grows, a reading is half known or 0. What holds for all is claimed here; which cells
// change stands in fault_table.txt, as
//
//   nvmlDeviceGetFanSpeed                   summary: 11%>N/A
//
// A row of the XML report stands there only where it tells otherwise than the text report.
#include "support/host.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

namespace zanctl {
namespace {

enum class Shape { byGpu, csv, pairsOfGpus, control };

// A command of a shell on one of the machines.
struct Command {
  const char* name;
  const char* machine;
  const char* script;
  Shape shape = Shape::byGpu;
};

constexpr char kGpus[] = "distinct_gpus.json";
constexpr char kIdle[] = "idle_gpus.json";
constexpr char kVgpus[] = "distinct_vgpus.json";
constexpr const char* kMachines[] = {kGpus, kIdle, kVgpus};

// Those that pause stand last, since they move the clock.
const Command kCommands[] = {
    {"summary", kGpus, "zanctl"},
    {"list", kGpus, "zanctl -L"},
    {"report", kGpus, "zanctl -q"},
    {"xml", kGpus, "zanctl -q -x"},
    {"hardware", kGpus, "zanctl -q -d HARDWARE_MONITOR"},
    {"query", kGpus, "zanctl --query-gpu=index,$PROPERTIES --format=csv", Shape::csv},
    {"apps", kGpus,
     "zanctl --query-compute-apps=name,gpu_name,gpu_bus_id,gpu_serial,gpu_uuid,used_memory "
     "--format=csv"},
    {"dmon", kGpus, "zanctl dmon -c 1 -o JV"},
    {"pmon", kGpus, "zanctl pmon -c 1"},
    {"stats", kGpus, "zanctl stats -c 1"},
    {"matrix", kGpus, "zanctl topo -m", Shape::pairsOfGpus},
    {"p2p", kGpus, "zanctl topo --p2p r", Shape::pairsOfGpus},
    {"nearest", kGpus, "zanctl topo -n 4 -i 1", Shape::pairsOfGpus},
    {"path", kGpus, "zanctl topo -p -i 0,1", Shape::pairsOfGpus},
    {"affinity", kGpus, "zanctl topo -c 5", Shape::pairsOfGpus},
    {"reset", kIdle, "zanctl -r -i 1", Shape::control},
    {"mask", kIdle, "zanctl --ce 0x7C -i 1", Shape::control},
    {"vgpu", kVgpus, "zanctl vgpu"},
    {"vgpu -q", kVgpus, "zanctl vgpu -q"},
    {"vgpu -s", kVgpus, "zanctl vgpu -s -v"},
    {"vgpu -c", kVgpus, "zanctl vgpu -c -v"},
    {"vgpu -u", kVgpus, "for gpu in 0 1 2; do zanctl vgpu -u -i $gpu | sed -n '3{p;q}'; done"},
    {"vgpu -p", kVgpus, "for gpu in 0 1 2; do zanctl vgpu -p -i $gpu | sed -n '3{p;q}'; done"},
};

constexpr char kFindProperties[] =
    R"sh(PROPERTIES=$(zanctl --help-query-gpu | sed -n 's/^"\([^"]*\)".*/\1/p' | grep -v '^index' |
           paste -sd,)
)sh";

// What every command asks for to begin with and end with.
const std::set<std::string> kSession = {"nvmlInit", "nvmlShutdown", "nvmlDeviceGetCount_v2",
                                        "nvmlDeviceGetHandleByIndex_v2",
                                        "zanmlDeviceGetResetStatus"};

// Readings of GPU 1 that are half known or 0: the text of its description and another.
struct Reading {
  const char* name;
  const char* text;
  const char* other;
};

constexpr Reading kReadings[] = {
    {"own power usage unknown", R"("position": 0}, "power_usage": 71)",
     R"("position": "unavailable"}, "power_usage": "unavailable")"},
    {"own power limit unknown",
     R"("position": 0}, "power_usage": 71, "power_limit": 251, "enforced_power_limit": 261)",
     R"("position": "unavailable"}, "power_usage": 71, "power_limit": 251, "enforced_power_limit": "unavailable")"},
    {"own power limit 0",
     R"("position": 0}, "power_usage": 71, "power_limit": 251, "enforced_power_limit": 261)",
     R"("position": "unavailable"}, "power_usage": 71, "power_limit": 251, "enforced_power_limit": 0)"},
    {"second of a board", R"("position": 0}, "power_usage": 71)",
     R"("position": 1}, "power_usage": 71)"},
    {"third of a board", R"("position": 0}, "power_usage": 71)",
     R"("position": 2}, "power_usage": 71)"},
    {"sm clock unknown", R"("sm": 1401)", R"("sm": "unavailable")"},
    {"memory clock unknown", R"("memory": 1211)", R"("memory": "unavailable")"},
    {"greatest sm clock unknown", R"("sm": 1501)", R"("sm": "unavailable")"},
    {"greatest memory clock unknown", R"("memory": 1311)", R"("memory": "unavailable")"},
    {"greatest clocks 0", R"("sm": 1501, "memory": 1311)", R"("sm": 0, "memory": 0)"},
    {"memory utilization unknown", R"("memory": 61)", R"("memory": {"raw": 4294967295})"},
    {"utilizations 0", R"("gpu": 81, "memory": 61, "encoder": 21, "decoder": 31)", R"("gpu": 0)"},
    {"memory size 0", R"("31 GiB", "used": "7 GiB")", R"(0, "used": 0)"},
    {"PCIe throughput half known", R"("tx": 701)", R"("tx": "unavailable")"},
    {"PCIe links 0", R"("generation": 2, "max_generation": 5, "width": 4, "max_width": 32)",
     R"("generation": 0, "max_generation": 0, "width": 0, "max_width": 0)"},
    {"shutdown temperature unknown", R"("temperature_shutdown": 111)",
     R"("temperature_shutdown": "unavailable")"},
    {"temperature limits 0",
     R"("temperature_shutdown": 111, "temperature_slowdown": 101, "temperature_max": 91)",
     R"("temperature_shutdown": 0, "temperature_slowdown": 0, "temperature_max": 0)"},
    {"power limits 0", R"("power_limit": 251, "enforced_power_limit": 261)",
     R"("power_limit": 0, "enforced_power_limit": 0)"},
    {"board power 0", R"("power_usage": 301)", R"("power_usage": 0)"},
    {"board power limit 0", R"("power_limit": 501)", R"("power_limit": 0)"},
    {"board id 0", R"("id": 33)", R"("id": 0)"},
    {"board of its own kind", R"("multi": 1, "sn": 4097)", R"("multi": {"raw": 2}, "sn": 4097)"},
    {"single bit pages unknown", R"("single_bit": 141)", R"("single_bit": "unavailable")"},
    {"voltage half known", R"("gpu": "0.11", "vdd": "12.21")",
     R"("gpu": {"raw": 4294967295}, "vdd": {"raw": 18446744069414584320})"},
    {"golden mask unknown", R"("supported": 124)", R"("supported": {"raw": 4294967295})"},
    {"VPU total 0", R"("total": 101)", R"("total": 0)"},
    {"host vGPU mode unknown", R"("performance_state": "P1", "host_vgpu_mode": "sriov")",
     R"("performance_state": "P1", "host_vgpu_mode": "unavailable")"},
};

std::string replaced(std::string text, const std::string& part, const std::string& other) {
  const std::size_t at = text.find(part);
  EXPECT_TRUE(at != std::string::npos && text.find(part, at + 1) == std::string::npos) << part;
  return at == std::string::npos ? text : text.replace(at, part.size(), other);
}

// A machine's description with more keys.
std::string with(const std::string& machine, const std::string& keys) {
  const std::string description = machineFile(machine);
  return keys.empty() ? description
                      : replaced(description, "\"description\"", keys + ", \"description\"");
}

// A fault of an operation, or a list of them.
std::string fault(const std::string& operations, const std::string& how) {
  return fmt::format(R"("faults": [{{"operation": {}, {}}}])", operations, how);
}

std::string inQuotes(const std::string& text) { return '"' + text + '"'; }

// The codes other than success, by turns. 7 asks for a larger array, which no array would satisfy.
int codeOf(std::size_t turn) {
  constexpr int kUnknown = 999;
  constexpr int kDocumented = 21;
  const int code = static_cast<int>(turn % (kDocumented + 1)) + 1;
  return code > kDocumented ? kUnknown : code;
}

using Lines = std::vector<std::string>;

// A line without its process id, which no two machines share.
std::string withoutPid(std::string line) {
  const std::size_t label = std::min(line.find("Process ID"), line.find("<pid>"));
  const bool isRow = line.find("train") != std::string::npos && line.find("      ") < 12;
  if (label == std::string::npos && !isRow) return line;
  std::size_t begin = line.find_first_of("0123456789", label == std::string::npos ? 0 : label);
  if (label == std::string::npos) begin = line.find_first_of("0123456789", begin + 1);
  const std::size_t end = std::min(line.find_first_not_of("0123456789", begin), line.size());
  if (begin == std::string::npos) return line;
  line.replace(begin, end - begin, "PID");
  if (isRow)
    line.erase(line.find_last_not_of(' ', begin - 1) + 2,
               begin - line.find_last_not_of(' ', begin - 1) - 2);
  return line;
}

// A command on a machine of its description.
struct CommandRun {
  const Command* command;
  std::string description;
};

// Output and status of each run, all on one start of the machine: the library looks into the
// description that it is told.
std::vector<Lines> play(const std::vector<CommandRun>& runs, const std::string& start) {
  Host host = Host::described(start);
  const auto path = [&host](std::size_t run, const char* ending) {
    return (host.directory() / fmt::format("{}.{}", run, ending)).string();
  };
  std::string script = kFindProperties;
  for (std::size_t i = 0; i < runs.size(); ++i) {
    if (i == 0 || runs[i].description != runs[i - 1].description) {
      std::ofstream(path(i, "json")) << runs[i].description;
      script += fmt::format("export ZANSIM_HOST='{}'\n", path(i, "json"));
    }
    script += fmt::format("{{ {}; }} >'{}' 2>&1; echo \"[status $?]\" >>'{}'\n",
                          runs[i].command->script, path(i, "out"), path(i, "out"));
  }
  EXPECT_EQ(host.runScript(script).status, 0);
  std::vector<Lines> answers(runs.size());
  for (std::size_t i = 0; i < runs.size(); ++i) {
    std::ifstream file(path(i, "out"));
    for (std::string line; std::getline(file, line);) answers[i].push_back(withoutPid(line));
  }
  return answers;
}

// All commands, each on its machine as `describe` describes it, which starts as `start` does.
template <typename Describe, typename Start = std::string(const std::string&)>
std::vector<Lines> playAll(const Describe& describe, const Start& start = machineFile) {
  std::vector<Lines> answers;
  for (const char* machine : kMachines) {
    std::vector<CommandRun> runs;
    for (const Command& command : kCommands) {
      if (command.machine == machine) runs.push_back({&command, describe(machine)});
    }
    for (Lines& lines : play(runs, start(machine))) answers.push_back(std::move(lines));
  }
  return answers;
}

std::string joined(const Lines& lines) { return fmt::format("{}\n", fmt::join(lines, "\n")); }

void expectSameAnswers(const std::vector<Lines>& expected, const std::vector<Lines>& actual) {
  ASSERT_EQ(expected.size(), actual.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_TRUE(expected[i] == actual[i]) << kCommands[i].script << "\n"
                                          << difference(joined(expected[i]), joined(actual[i]));
  }
}

constexpr int kNoGpu = -1;

// The GPU that a line is about: the one that it begins with, or that of the line before.
int gpuOf(const std::string& line, int before) {
  // The border below all GPUs.
  if (line.starts_with('+') && line.find('+', 1) == line.size() - 1) return kNoGpu;
  if (line.find("00000000:00:00.0") != std::string::npos || line.starts_with("[N/A]")) return 1;
  const std::size_t at = line.find_first_of("0123456789");
  if (at == std::string::npos) return before;
  std::string head = line.substr(0, at);
  head.erase(std::remove_if(head.begin(), head.end(),
                            [](char c) { return c == ' ' || c == '\t' || c == '|'; }),
             head.end());
  if (!std::set<std::string>{"", "GPU", "GPU:", "<gpuid=\"", "train--gpu"}.contains(head)) {
    return before;
  }
  const std::size_t end = line.find_first_not_of("0123456789", at);
  if (end == std::string::npos || std::string(" :,").find(line[end]) == std::string::npos) {
    return before;
  }
  return std::stoi(line.substr(at, end - at)) % 10;
}

// The lines about a GPU.
Lines linesOf(const Lines& lines, int gpu) {
  Lines chosen;
  int current = kNoGpu;
  for (const std::string& line : lines) {
    if (line.starts_with("[status")) continue;
    current = gpuOf(line, current);
    if (current == gpu) chosen.push_back(line);
  }
  return chosen;
}

std::string squeezed(const std::string& text) {
  std::istringstream stream(text);
  std::string result;
  for (std::string word; stream >> word;) result += (result.empty() ? "" : " ") + word;
  return result;
}

// A value, and its name where the line says it.
struct Cell {
  std::string name;
  std::string value;
};

std::vector<Cell> cellsOf(const std::string& line, const Lines& names) {
  const std::size_t tag = line.find('>');
  const std::size_t end = line.find("</");
  if (line.starts_with('\t') && end != std::string::npos) {
    return {{line.substr(line.find('<') + 1, tag - line.find('<') - 1),
             line.substr(tag + 1, end - tag - 1)}};
  }
  const std::size_t colon = line.find(": ");
  if (colon == 48) return {{squeezed(line.substr(0, colon)), line.substr(colon + 2)}};
  std::vector<Cell> cells;
  std::string cell;
  for (std::size_t i = 0; i <= line.size(); ++i) {
    const bool ends = i == line.size() || line[i] == '|' || line.compare(i, 2, "  ") == 0 ||
                      line.compare(i, 2, ", ") == 0;
    if (!ends) {
      cell += line[i];
      continue;
    }
    if (i < line.size() && line[i] == ',') ++i;
    cell = squeezed(cell);
    if (!cell.empty())
      cells.push_back({cells.size() < names.size() ? names[cells.size()] : "", cell});
    cell.clear();
  }
  return cells;
}

// Some lines in place of others, as one cell; of many only the first.
std::string block(const Lines& lines) {
  if (lines.empty()) return "nothing";
  std::string text = squeezed(lines[0]);
  for (std::size_t i = 1; i < lines.size() && lines.size() <= 3; ++i)
    text += " / " + squeezed(lines[i]);
  return lines.size() <= 3 ? text : fmt::format("{} ... {} lines", text, lines.size());
}

// What changed, cell by cell, or as one block where lines come or go.
std::vector<Cell> changesOf(const Lines& before, const Lines& after, const Lines& names) {
  if (before.size() != after.size()) {
    const auto [a, b] = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
    const auto [x, y] = std::mismatch(before.rbegin(), std::make_reverse_iterator(a),
                                      after.rbegin(), std::make_reverse_iterator(b));
    return {{"", block({a, x.base()}) + ">" + block({b, y.base()})}};
  }
  std::vector<Cell> changes;
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (before[i] == after[i]) continue;
    const auto a = cellsOf(before[i], names);
    const auto b = cellsOf(after[i], names);
    if (a.size() != b.size()) {
      changes.push_back({"", squeezed(before[i]) + ">" + squeezed(after[i])});
      continue;
    }
    for (std::size_t cell = 0; cell < a.size(); ++cell) {
      if (a[cell].value != b[cell].value || a[cell].name != b[cell].name) {
        changes.push_back({a[cell].name, a[cell].value + ">" + b[cell].value});
      }
    }
  }
  return changes;
}

std::string textOf(const std::vector<Cell>& changes) {
  std::string text;
  for (const auto& [name, value] : changes) {
    text += fmt::format("{}{}{}{}", text.empty() ? "" : "; ", name, name.empty() ? "" : " ", value);
  }
  return text;
}

// The values of text and XML, which leaves the "0x" out.
std::string valuesOf(std::vector<Cell> changes) {
  for (Cell& cell : changes) {
    cell.name.clear();
    while (cell.value.find("0x") != std::string::npos) cell.value.erase(cell.value.find("0x"), 2);
  }
  return textOf(changes);
}

// What is wrong with a machine, and the rows that tell so.
struct Illness {
  std::string name;
  std::string description;
  std::set<const Command*> commands;
};

class Table {
 public:
  explicit Table(const std::string& machine) {
    std::vector<CommandRun> runs;
    for (const Command& command : kCommands) {
      if (command.machine != machine) continue;
      runs.push_back({&command, machineFile(machine)});
      Host host = Host::described(machineFile(machine));
      host.runScript(kFindProperties + std::string(command.script));
      for (const auto& [operation, count] : host.callCounts()) callers_[operation].insert(&command);
    }
    const auto answers = play(runs, machineFile(machine));
    for (std::size_t i = 0; i < runs.size(); ++i) healthy_[runs[i].command] = answers[i];
  }

  using Callers = std::set<const Command*>;
  [[nodiscard]] const std::map<std::string, Callers>& callers() const { return callers_; }
  [[nodiscard]] Callers everyCommand() const { return callers_.at("nvmlInit"); }

  // Plays what is wrong and adds the rows; the illnesses that no command showed are left.
  void add(std::vector<Illness>& illnesses, bool everywhere) {
    std::vector<CommandRun> runs;
    std::vector<Illness*> whose;
    for (const Command& command : kCommands) {
      for (Illness& illness : illnesses) {
        if (!illness.commands.contains(&command)) continue;
        runs.push_back({&command, illness.description});
        whose.push_back(&illness);
      }
    }
    if (runs.empty()) return;
    const auto answers = play(runs, machineFile(runs[0].command->machine));
    for (std::size_t i = 0; i < runs.size(); ++i) {
      if (addRow(*whose[i], *runs[i].command, answers[i], everywhere)) {
        whose[i]->commands.erase(runs[i].command);
      }
    }
  }

  [[nodiscard]] std::string text() const {
    std::string text;
    for (const auto& [key, row] : rows_) text += row;
    return text;
  }

 private:
  bool addRow(const Illness& illness, const Command& command, const Lines& ill, bool everywhere) {
    const Lines& healthy = healthy_.at(&command);
    const std::string place = illness.name + ", " + command.name;
    if (command.shape != Shape::control) {
      EXPECT_EQ(healthy.back(), ill.back()) << place;
    }
    if (healthy == ill) return false;
    const bool mixed =
        everywhere || command.shape == Shape::pairsOfGpus || command.shape == Shape::control;
    Lines names;
    if (command.shape == Shape::csv) {
      for (const Cell& cell : cellsOf(healthy[0], {}))
        names.push_back(cell.value.substr(0, cell.value.find(" [")));
    }
    for (const int other : {kNoGpu, 0, 2}) {
      if (mixed) break;
      EXPECT_EQ(linesOf(healthy, other), linesOf(ill, other)) << place;
    }
    const auto changes = mixed ? changesOf(healthy, ill, names)
                               : changesOf(linesOf(healthy, 1), linesOf(ill, 1), names);
    const bool isXml = std::string_view(command.name) == "xml";
    if (std::string_view(command.name) == "report") told_[illness.name] = valuesOf(changes);
    if (!isXml || told_[illness.name] != valuesOf(changes)) {
      rows_[{illness.name, &command}] =
          fmt::format("{:<42}{}: {}\n", illness.name, command.name, textOf(changes));
    }
    return true;
  }

  std::map<std::string, Callers> callers_;
  std::map<const Command*, Lines> healthy_;
  std::map<std::string, std::string> told_;  // by the text report
  std::map<std::pair<std::string, const Command*>, std::string> rows_;
};

TEST(Fault, changesTheCellsOfTheTableAndNoOther) {
  std::string text;
  for (const char* machine : kMachines) {
    Table table(machine);
    std::vector<Illness> illnesses;
    for (const auto& [operation, callers] : table.callers()) {
      if (kSession.contains(operation)) continue;
      illnesses.push_back({operation,
                           with(machine, fault(inQuotes(operation), R"("gpu": 1, "code": 15)")),
                           callers});
    }
    table.add(illnesses, false);
    // What names no GPU fails for all of them.
    for (Illness& illness : illnesses) {
      illness.description = with(machine, fault(inQuotes(illness.name), R"("code": 13)"));
    }
    table.add(illnesses, true);
    illnesses = {{"lists grow", with(machine, fault(R"("*")", R"("gpu": 1, "grow": 2)")),
                  table.everyCommand()}};
    for (const Reading& reading : kReadings) {
      if (machine != kGpus) break;
      illnesses.push_back({reading.name,
                           replaced(machineFile(machine), reading.text, reading.other),
                           table.everyCommand()});
    }
    table.add(illnesses, false);
    text += table.text();
  }
  expectGolden("fault_table.txt", text);
}

TEST(Fault, ofTheSessionIsLikeAMachineWithoutGpus) {
  const auto noGpus = [](const std::string& machine) {
    const std::string description = machineFile(machine);
    return description.substr(0, description.find("\"gpus\"")) + R"("gpus": []})";
  };
  // The GPUs near a processor are counted apart.
  const std::string counts = R"(["nvmlDeviceGetCount_v2", "nvmlSystemGetTopologyGpuSet"])";
  expectSameAnswers(playAll([&](const std::string& machine) { return noGpus(machine); }),
                    playAll([&](const std::string& machine) {
                      return with(machine, fault(counts, R"("code": 9)"));
                    }));
  expectSameAnswers(
      playAll([&](const std::string& machine) {
        std::string unknown = noGpus(machine);
        for (const char* version : {R"("5.6.7")", R"("1.2.3")", "12020"}) {
          const std::size_t at = unknown.find(version);
          if (at != std::string::npos) unknown = replaced(unknown, version, R"("unavailable")");
        }
        return unknown;
      }),
      playAll([&](const std::string& machine) { return with(machine, R"("init": 9)"); }));
}

TEST(Fault, ofAHandleIsLikeALostGpuAndSparesTheGpusBeforeIt) {
  const auto healthy = playAll(machineFile);
  const auto lost =
      playAll([&](const std::string& machine) { return with(machine, R"("lost": [{"gpu": 1}])"); });
  // The GPUs near a processor come with their handles and tell their indices.
  const std::string list = R"(["nvmlDeviceGetHandleByIndex_v2", "nvmlDeviceGetIndex"])";
  expectSameAnswers(lost, playAll([&](const std::string& machine) {
                      return with(machine, fault(list, R"("gpu": 1, "code": 15)"));
                    }));
  for (std::size_t i = 0; i < healthy.size(); ++i) {
    if (kCommands[i].shape != Shape::byGpu && kCommands[i].shape != Shape::csv) continue;
    EXPECT_EQ(linesOf(healthy[i], kNoGpu), linesOf(lost[i], kNoGpu)) << kCommands[i].name;
    EXPECT_EQ(linesOf(healthy[i], 0), linesOf(lost[i], 0)) << kCommands[i].name;
    EXPECT_EQ(healthy[i].back(), lost[i].back()) << kCommands[i].name;
  }
}

// In two groups, so that one does not hide all others.
TEST(Fault, ofAnOperationIsLikeALibraryWithoutIt) {
  std::vector<std::set<std::string>> groups(2);
  std::size_t turn = 0;
  for (const char* machine : kMachines) {
    const Table table(machine);
    for (const auto& [operation, callers] : table.callers()) {
      const bool hides = kSession.contains(operation) && operation != "nvmlShutdown";
      if (!hides) groups[turn++ % 2].insert(inQuotes(operation));
    }
  }
  for (const auto& group : groups) {
    const std::string list = fmt::format("[{}]", fmt::join(group, ", "));
    const auto lacking = [&](const std::string& machine) {
      return with(machine, "\"missing\": " + list);
    };
    expectSameAnswers(playAll([&](const std::string& machine) {
                        return with(machine, fault(list, R"("code": 13)"));
                      }),
                      playAll(lacking, lacking));
  }
}

// What the commands share reads a code, so one command of each kind stands for all.
TEST(Fault, isTheSameWithEveryCode) {
  std::vector<CommandRun> runs;
  for (const Command& command : kCommands) {
    if (command.name != std::string_view("xml") && command.name != std::string_view("dmon") &&
        command.name != std::string_view("matrix"))
      continue;
    for (std::size_t turn = 0; turn <= 21; ++turn) {
      runs.push_back({&command, with(kGpus, fault(R"("*")", fmt::format(R"("gpu": 1, "code": {})",
                                                                        codeOf(turn))))});
    }
  }
  const auto answers = play(runs, machineFile(kGpus));
  for (std::size_t i = 0; i < runs.size(); ++i) {
    EXPECT_EQ(answers[i / 22 * 22], answers[i]) << runs[i].command->name << " " << codeOf(i % 22);
  }
}

// The stamps may move, and a table's cells with them, but the lines are the same.
TEST(Fault, ofASlowLibraryIsWaitedFor) {
  const auto healthy = playAll(machineFile);
  const auto slow = playAll([&](const std::string& machine) {
    return with(machine, fault(R"("*")", R"("latency_us": 20000)"));
  });
  for (std::size_t i = 0; i < healthy.size(); ++i) {
    EXPECT_EQ(healthy[i].size(), slow[i].size()) << kCommands[i].name;
    EXPECT_EQ(healthy[i].back(), slow[i].back()) << kCommands[i].name;
  }
}

}  // namespace
}  // namespace zanctl
