#include "description/gpu_reader.h"
#include "description/values.h"

#include <algorithm>

namespace zansim {

namespace {

// The kernel takes no single argument beyond 128 KiB.
constexpr std::size_t kLongestArgument = (1U << 17U) - 1;
constexpr unsigned kLongestCommand = 1'000'000;
constexpr unsigned kMostProcesses = 100'000;
// Of those that the launcher starts; many more are listed by "pid".
constexpr unsigned kMostStarted = 1000;

void addWords(const std::string& text, std::vector<std::string>& words) {
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find(' ', begin), text.size());
    if (end > begin) words.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
}

void readCommand(const Node& node, std::vector<std::string>& arguments) {
  if (node.as<Value::List>() != nullptr) {
    readList(node, "a list",
             [&](const Node& word) { readText(word, kLongestArgument, arguments.emplace_back()); });
  } else {
    std::string text;
    readText(node, kLongestCommand, text);
    addWords(text, arguments);
  }
  if (arguments.empty()) node.complainExpected("a command line");
}

// A command line of exactly so many bytes, the blanks between its words included.
void readLength(const Node& node, std::vector<std::string>& arguments) {
  unsigned length = 1;
  readUnsigned(node, 1, kLongestCommand, length);
  constexpr std::size_t kWord = 64;
  std::string line = "trainer";
  while (line.size() < length) line += " --layer-" + std::string(kWord - 8, 'x');
  line.resize(length);
  if (line.back() == ' ') line.back() = '-';
  addWords(line, arguments);
}

void readKind(const Node& node, ProcessEntry::Kind& kind) {
  readWord(node,
           {{"dead", ProcessEntry::Kind::dead},
            {"zombie", ProcessEntry::Kind::zombie},
            {"self", ProcessEntry::Kind::self}},
           kind);
}

void readPid(const Node& node, ProcessEntry& entry) {
  entry.kind = ProcessEntry::Kind::pid;
  readUnsigned(node, 0, ~0U, entry.pid);
}

void readLists(const Node& node, bool& runningList) {
  readWord(node, {{"both", true}, {"all", false}}, runningList);
}

void readProcess(const Node& node, Members& members, ProcessEntry& entry) {
  const int sources = members.read("command", readCommand, entry.arguments) +
                      members.read("length", readLength, entry.arguments) +
                      members.read("kind", readKind, entry.kind) +
                      members.read("pid", readPid, entry);
  if (sources != 1) {
    node.complain("a process has one of \"command\", \"length\", \"kind\" and \"pid\"");
  }
  NumberRule memory = kBytes;
  memory.mayFail = false;
  members.read("memory", readNumberSource, memory, entry.memory);
  members.read("lists", readLists, entry.runningList);
  members.read("vgpu", readBool, entry.vgpu);
  members.read("count", readUnsigned, 0U, kMostProcesses, entry.count);
  if (entry.kind != ProcessEntry::Kind::pid && entry.count > kMostStarted) {
    node.complain("more than 1000 processes can only be listed by \"pid\"");
  }
}

}  // namespace

void readGpuProcesses(const Node& node, std::vector<ProcessEntry>& processes) {
  processes.clear();
  readList(node, "a list of processes", [&](const Node& element) {
    readObject(element,
               [&](Members& members) { readProcess(element, members, processes.emplace_back()); });
  });
}

void readMachineProcesses(const Node& node, std::size_t gpus,
                          std::vector<ProcessEntry>& processes) {
  readList(node, "a list of processes", [&](const Node& element) {
    readObject(element, [&](Members& members) {
      ProcessEntry& entry = processes.emplace_back();
      readProcess(element, members, entry);
      if (!members.read("gpus", readIndices, "GPU", gpus, entry.gpus)) {
        element.complain("a process of the machine names its \"gpus\"");
      }
    });
  });
}

}  // namespace zansim
