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
  readList(node, "a list of NUMA nodes", [&](const Node& element) {
    readObject(element, kNumaNodeKeys, host.numaNodes.emplace_back());
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
  readList(list, "a list of GPUs", [&](const Node& element) {
    unsigned count = 1;
    Gpu gpu = defaults;
    readGpu(element, gpu, count);
    if (host.gpus.size() + count > kMaxGpus) {
      return element.complain(fmt::format("a machine has at most {} GPUs", kMaxGpus));
    }
    host.gpus.insert(host.gpus.end(), count, gpu);
  });
}

void readRoot(const Node& root, Host& host) {
  readObject(root, kHostKeys, host);
  if (!root.json().is_object()) return;
  readGpus(root, host);
  if (!root.hasProblems()) completeHost(root, host);
}

std::string readFile(const std::string& path, std::string& content) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return std::strerror(errno);
  struct stat status = {};
  std::string error;
  constexpr off_t kLargest = off_t{64} << 20U;
  if (fstat(file, &status) != 0) {
    error = std::strerror(errno);
  } else if (!S_ISREG(status.st_mode)) {
    error = "not a regular file";
  } else if (status.st_size > kLargest) {
    error = "larger than 64 MiB";
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

HostReading readHost(std::string_view json, const std::string& name) {
  HostReading reading;
  Problems problems;
  Json root;
  Host host;
  if (const auto error = parseJson(json, root)) {
    reading.problems.push_back(
        inOneLine(fmt::format("{}:{}: {}", name, error->line, error->reason)));
    return reading;
  }
  readRoot(Node(root, problems), host);
  if (problems.empty()) {
    reading.host = std::move(host);
    return reading;
  }
  std::vector<std::pair<std::size_t, const Problem*>> sorted;
  for (const Problem& problem : problems) {
    sorted.emplace_back(lineOf(json, problem.place), &problem);
  }
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  for (const auto& [line, problem] : sorted) {
    const std::string_view place = problem->place.empty() ? "/" : std::string_view(problem->place);
    reading.problems.push_back(
        inOneLine(fmt::format("{}:{}: {}: {}", name, line, place, problem->reason)));
  }
  return reading;
}

HostReading readHostFile(const std::string& path) {
  std::string content;
  if (const std::string error = readFile(path, content); !error.empty()) {
    return {.problems = {fmt::format("{}: {}", path, error)}};
  }
  return readHost(content, path);
}

}  // namespace zansim
