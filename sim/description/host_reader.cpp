#include "description/host_reader.h"

#include "description/completion.h"
#include "description/fault_reader.h"
#include "description/gpu_reader.h"
#include "description/json_text.h"
#include "description/values.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <set>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zansim {

namespace {

// A version text has a buffer of 80 bytes.
constexpr std::size_t kLongestVersion = 79;

void readDriverNodes(const Node& node, Host& host) {
  if (isText(node, "unreadable")) {
    host.driverNodes = DriverNodes::unreadable;
  } else if (node.json().is_boolean()) {
    host.driverNodes = node.json().get<bool>() ? DriverNodes::present : DriverNodes::missing;
  } else {
    node.complainExpected("true, false or \"unreadable\"");
  }
}

void readInit(const Node& node, Host& host) {
  if (isText(node, "success")) return;
  Fault fault;
  fault.operations.set(indexOf(Operation::nvmlInit));
  readReturnCode(node, fault.code);
  host.faults.push_back(std::move(fault));
}

constexpr std::array kNumaNodeKeys{
    Key<NumaNode>{"cpus", [](const Node& node, NumaNode& numa) { readCpuList(node, numa.cpus); }},
};

void readNumaNodes(const Node& node, Host& host) {
  constexpr std::size_t kMost = 64;
  if (node.json().is_array() && (node.json().empty() || node.json().size() > kMost)) {
    return node.complain("a machine has 1 to 64 NUMA nodes");
  }
  std::set<unsigned> taken;
  readList(node, "a list of NUMA nodes", [&](const Node& element) {
    NumaNode& numa = host.numaNodes.emplace_back();
    readObject(element, "NUMA node", kNumaNodeKeys, numa);
    const auto isTaken = [&](unsigned cpu) { return taken.contains(cpu); };
    const auto twice = std::find_if(numa.cpus.begin(), numa.cpus.end(), isTaken);
    if (twice != numa.cpus.end()) {
      element.complain(fmt::format("CPU {} belongs to another NUMA node already", *twice));
    }
    taken.insert(numa.cpus.begin(), numa.cpus.end());
  });
}

// "gpus" comes after everything that its entries build upon.
constexpr std::array kHostKeys{
    Key<Host>{"description",
              [](const Node& node, Host& host) { readText(node, 4096, host.description); }},
    Key<Host>{"driver_version",
              [](const Node& node, Host& host) {
                readTextSource(node, kLongestVersion, host.driverVersion);
              }},
    Key<Host>{"library_version",
              [](const Node& node, Host& host) {
                readTextSource(node, kLongestVersion, host.libraryVersion);
              }},
    Key<Host>{"cuda_version",
              [](const Node& node, Host& host) {
                readNumberSource(node, {.max = 1'000'000}, host.cudaVersion);
              }},
    Key<Host>{"cpus", [](const Node& node, Host& host) { readUnsigned(node, 1, 8192, host.cpus); }},
    Key<Host>{"numa_nodes", readNumaNodes},
    Key<Host>{"seed",
              [](const Node& node, Host& host) { readInteger(node, 0, kForever, host.seed); }},
    Key<Host>{"uptime", [](const Node& node, Host& host) { readSeconds(node, host.uptime); }},
    Key<Host>{"driver_nodes", readDriverNodes},
    Key<Host>{"library", [](const Node& node, Host& host) { readBool(node, host.library); }},
    Key<Host>{"missing", [](const Node& node, Host& host) { readOperations(node, host.missing); }},
    Key<Host>{"init", readInit},
    Key<Host>{"gpus_per_board",
              [](const Node& node, Host& host) { readUnsigned(node, 1, 16, host.gpusPerBoard); }},
    Key<Host>{"processes",
              [](const Node& node, Host& host) {
                readProcesses(node, ProcessOwner::machine, host.processes);
              }},
    Key<Host>{"faults", [](const Node& node, Host& host) { readFaults(node, host.faults); }},
    Key<Host>{"lost", [](const Node& node, Host& host) { readLost(node, host.faults); }},
    Key<Host>{"vgpu_types",
              [](const Node& node, Host& host) { readVgpuTypes(node, host.vgpuTypes); }},
    Key<Host>{"defaults", [](const Node&, Host&) {}},
    Key<Host>{"gpus", [](const Node&, Host&) {}},
};

// What a GPU lists, in entries of some hundred bytes.
std::size_t entriesOf(const Gpu& gpu) {
  constexpr std::size_t kBytes = 256;
  std::size_t entries = 1;
  for (const ProcessEntry& process : gpu.processes) {
    entries += 1 + process.arguments.size();
    for (const std::string& argument : process.arguments) entries += argument.size() / kBytes;
  }
  for (const VgpuInstance& instance : gpu.vgpu.instances) entries += 1 + instance.processes.size();
  return entries;
}

// GPUs are copies of one entry, so a few lines can ask for more than the memory holds.
class Room {
 public:
  // Whether there is room for so many GPUs; complains when there is none.
  bool take(const Node& entry, const Gpu& gpu, unsigned count) {
    constexpr std::size_t kMostEntries = 200'000;
    gpus_ += count;
    entries_ += entriesOf(gpu) * count;
    if (gpus_ > kMaxGpus) {
      entry.complain(fmt::format("a machine has at most {} GPUs", kMaxGpus));
    } else if (entries_ > kMostEntries) {
      entry.complain("more processes and vGPU instances than can be simulated");
    } else {
      return true;
    }
    isFull_ = true;
    return false;
  }

  bool isFull() const { return isFull_; }

 private:
  std::size_t gpus_ = 0;
  std::size_t entries_ = 0;
  bool isFull_ = false;
};

void readGpus(const Node& root, Host& host) {
  const Json& json = root.json();
  Gpu defaults;
  if (const auto found = json.find("defaults"); found != json.end()) {
    unsigned count = 1;
    const Node node = root.member("defaults", *found);
    readGpu(node, defaults, count);
    if (found->is_object() && found->contains("count")) {
      node.complain("\"count\" belongs to an entry of \"gpus\"");
    }
  }
  const auto found = json.find("gpus");
  if (found == json.end()) return root.complain("a machine needs \"gpus\"");
  const Node list = root.member("gpus", *found);
  Room room;
  readList(list, "a list of GPUs", [&](const Node& element) {
    if (room.isFull()) return;
    unsigned count = 1;
    Gpu gpu = defaults;
    readGpu(element, gpu, count);
    if (room.take(element, gpu, count)) host.gpus.insert(host.gpus.end(), count, gpu);
  });
}

void readRoot(const Node& root, Findings& findings, Host& host) {
  readObject(root, "machine", kHostKeys, host);
  if (!root.json().is_object()) return;
  readGpus(root, host);
  completeHost(host, findings);
}

std::string readFile(const std::string& path, std::string& content) {
  // Opening a pipe would wait for somebody to write to it.
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return std::strerror(errno);
  struct stat status = {};
  std::string error;
  constexpr off_t kLargest = off_t{8} << 20U;
  if (fstat(file, &status) != 0) {
    error = std::strerror(errno);
  } else if (!S_ISREG(status.st_mode)) {
    error = "not a regular file";
  } else if (status.st_size > kLargest) {
    error = "larger than 8 MiB";
  } else {
    content.resize(static_cast<std::size_t>(status.st_size));
    std::size_t size = 0;
    ssize_t got = 1;
    while (size < content.size() && got > 0) {
      got = read(file, content.data() + size, content.size() - size);
      if (got > 0) size += static_cast<std::size_t>(got);
    }
    if (got < 0) error = std::strerror(errno);
    content.resize(size);
  }
  close(file);
  return error;
}

// A key may hold any character; a message keeps to its line and leaves the terminal alone.
std::string inOneLine(std::string_view message) {
  std::string text;
  for (const char c : message) {
    const auto code = static_cast<unsigned char>(c);
    constexpr unsigned char kDelete = 0x7f;
    if (code < ' ' || code == kDelete) {
      text += fmt::format("\\u{:04x}", code);
    } else {
      text += c;
    }
  }
  return text;
}

}  // namespace

HostReading readHost(std::string_view json, const std::string& name, KeyUse* keyUse) {
  HostReading reading;
  Findings findings{.keyUse = keyUse};
  Json root;
  Host host;
  if (const auto error = parseJson(json, root, findings)) {
    reading.problems.push_back(
        inOneLine(fmt::format("{}:{}: {}", name, error->line, error->reason)));
    return reading;
  }
  readRoot(Node(root, findings), findings, host);
  std::vector<Problem>& problems = findings.problems;
  if (problems.empty()) {
    reading.host = std::move(host);
    return reading;
  }
  findLines(json, problems);
  std::stable_sort(problems.begin(), problems.end(),
                   [](const Problem& a, const Problem& b) { return a.line < b.line; });
  for (const Problem& problem : problems) {
    const std::string_view place = problem.place.empty() ? "/" : std::string_view(problem.place);
    reading.problems.push_back(
        inOneLine(fmt::format("{}:{}: {}: {}", name, problem.line, place, problem.reason)));
  }
  if (findings.furtherProblems > 0) {
    reading.problems.push_back(
        fmt::format("{}: and {} more problems", name, findings.furtherProblems));
  }
  return reading;
}

HostReading readHostFile(const std::string& path, KeyUse* keyUse) {
  std::string content;
  if (const std::string error = readFile(path, content); !error.empty()) {
    return {.problems = {fmt::format("{}: {}", path, error)}};
  }
  return readHost(content, path, keyUse);
}

}  // namespace zansim
