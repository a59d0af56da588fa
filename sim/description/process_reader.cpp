#include "description/gpu_reader.h"
#include "description/values.h"

#include <array>
#include <limits>

namespace zansim {

namespace {

// The kernel takes no single argument beyond 128 KiB.
constexpr std::size_t kLongestArgument = (1U << 17U) - 1;
constexpr unsigned kLongestCommand = 1'000'000;
constexpr unsigned kMostProcesses = 100'000;
// Of those that the launcher starts; many more are listed by "pid".
constexpr unsigned kMostStarted = 1000;
// Of the command lines of one list.
constexpr std::size_t kMostBytes = 16'000'000;

struct ProcessDraft {
  ProcessEntry entry;
  unsigned sources = 0;  // keys that say what kind of process it is
};

void readCommand(const Node& node, ProcessDraft& draft) {
  ++draft.sources;
  std::vector<std::string>& arguments = draft.entry.arguments;
  if (node.json().is_array()) {
    readList(node, "a list",
             [&](const Node& word) { readText(word, kLongestArgument, arguments.emplace_back()); });
  } else {
    std::string text;
    readText(node, kLongestCommand, text);
    for (std::size_t begin = 0; begin < text.size();) {
      const std::size_t end = std::min(text.find(' ', begin), text.size());
      if (end > begin) arguments.push_back(text.substr(begin, end - begin));
      begin = end + 1;
    }
  }
  if (arguments.empty()) node.complainExpected("a command line");
}

// A command line of exactly so many bytes, the blanks between its words included.
void readLength(const Node& node, ProcessDraft& draft) {
  ++draft.sources;
  unsigned length = 1;
  readUnsigned(node, 1, kLongestCommand, length);
  constexpr std::string_view kProgram = "trainer";
  constexpr std::string_view kFiller = "--layer-";
  constexpr std::size_t kWord = 64;
  std::string line(kProgram.substr(0, length));
  std::vector<std::string> words;
  for (unsigned used = static_cast<unsigned>(line.size()); used < length; ++used) {
    const bool wordEnds = line.size() >= kWord || (words.empty() && line == kProgram);
    if (wordEnds && used + 1 < length) {
      words.push_back(std::move(line));
      line.clear();
    } else {
      line += line.size() < kFiller.size() ? kFiller[line.size()] : 'x';
    }
  }
  words.push_back(std::move(line));
  draft.entry.arguments = std::move(words);
}

struct KindName {
  std::string_view name;
  ProcessEntry::Kind kind;
};

constexpr std::array kKinds{KindName{"dead", ProcessEntry::Kind::dead},
                            KindName{"zombie", ProcessEntry::Kind::zombie},
                            KindName{"self", ProcessEntry::Kind::self}};

void readKind(const Node& node, ProcessDraft& draft) {
  ++draft.sources;
  for (const KindName& kind : kKinds) {
    if (isText(node, kind.name)) {
      draft.entry.kind = kind.kind;
      return;
    }
  }
  node.complainExpected("\"dead\", \"zombie\" or \"self\"");
}

void readPid(const Node& node, ProcessDraft& draft) {
  ++draft.sources;
  draft.entry.kind = ProcessEntry::Kind::pid;
  readUnsigned(node, 0, std::numeric_limits<unsigned>::max(), draft.entry.pid);
}

void readLists(const Node& node, ProcessDraft& draft) {
  if (isText(node, "all")) {
    draft.entry.runningList = false;
  } else if (!isText(node, "both")) {
    node.complainExpected("\"both\" or \"all\"");
  }
}

void readGpuNumbers(const Node& node, ProcessDraft& draft) {
  readList(node, "a list of GPU indices",
           [&](const Node& element) { readGpuIndex(element, draft.entry.gpus.emplace_back()); });
}

constexpr std::array kProcessKeys{
    Key<ProcessDraft>{"command", readCommand},
    Key<ProcessDraft>{"length", readLength},
    Key<ProcessDraft>{"kind", readKind},
    Key<ProcessDraft>{"pid", readPid},
    Key<ProcessDraft>{"memory",
                      [](const Node& node, ProcessDraft& draft) {
                        const NumberRow& row =
                            numberRows()[static_cast<std::size_t>(Number::memoryUsed)];
                        readNumberSource(node, row.rule, draft.entry.memory);
                      }},
    Key<ProcessDraft>{"lists", readLists},
    Key<ProcessDraft>{
        "vgpu", [](const Node& node, ProcessDraft& draft) { readBool(node, draft.entry.vgpu); }},
    Key<ProcessDraft>{"count",
                      [](const Node& node, ProcessDraft& draft) {
                        readUnsigned(node, 0, kMostProcesses, draft.entry.count);
                      }},
    // Last, so that the processes of one GPU can leave it out.
    Key<ProcessDraft>{"gpus", readGpuNumbers},
};

}  // namespace

void readProcesses(const Node& node, ProcessOwner owner, std::vector<ProcessEntry>& processes) {
  const auto keys =
      std::span(kProcessKeys).first(kProcessKeys.size() - (owner == ProcessOwner::gpu ? 1 : 0));
  std::size_t bytes = 0;
  readList(node, "a list of processes", [&](const Node& element) {
    if (bytes > kMostBytes) return;
    ProcessDraft draft;
    draft.entry.memory = NumberSource::constant(0);
    readObject(element, "process", keys, draft);
    if (element.json().is_object() && draft.sources != 1) {
      element.complain("a process has one of \"command\", \"length\", \"kind\" and \"pid\"");
    }
    if (draft.entry.kind != ProcessEntry::Kind::pid && draft.entry.count > kMostStarted) {
      element.complain("more than 1000 processes can only be listed by \"pid\"");
    }
    if (draft.entry.memory.kind == NumberSource::Kind::fails) {
      element.complain("the memory of a process is always known");
    }
    if (owner == ProcessOwner::machine && element.json().is_object() && draft.entry.gpus.empty()) {
      element.complain("a process of the machine names its \"gpus\"");
    }
    for (const std::string& argument : draft.entry.arguments) bytes += argument.size();
    if (bytes > kMostBytes) element.complain("the command lines are longer than 16 MB together");
    processes.push_back(std::move(draft.entry));
  });
}

}  // namespace zansim
