#include "description/host_reader.h"

#include "description/completion.h"
#include "description/fault_reader.h"
#include "description/gpu_reader.h"
#include "description/values.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace zansim {

namespace {

// A version text has a buffer of 80 bytes.
constexpr std::size_t kLongestVersion = 79;

void readDriverNodes(const Node& node, DriverNodes& nodes) {
  const auto* const present = node.as<bool>();
  if (present != nullptr) {
    nodes = *present ? DriverNodes::present : DriverNodes::missing;
  } else if (node.isText("unreadable")) {
    nodes = DriverNodes::unreadable;
  } else {
    node.complainExpected("true, false or \"unreadable\"");
  }
}

void readInit(const Node& node, std::vector<Fault>& faults) {
  if (node.isText("success")) return;
  Fault fault;
  fault.operations.set(indexOf(Operation::nvmlInit));
  readReturnCode(node, fault.code);
  faults.push_back(std::move(fault));
}

void readNumaNodes(const Node& node, std::vector<NumaNode>& nodes) {
  std::vector<unsigned> taken;
  readList(node, "a list of NUMA nodes", [&](const Node& element) {
    std::vector<unsigned>& cpus = nodes.emplace_back().cpus;
    readObject(element, [&](Members& members) { members.read("cpus", readCpuList, cpus); });
    const auto twice = std::find_first_of(taken.begin(), taken.end(), cpus.begin(), cpus.end());
    if (twice != taken.end()) {
      element.complain(fmt::format("CPU {} belongs to another NUMA node already", *twice));
    }
    taken.insert(taken.end(), cpus.begin(), cpus.end());
  });
  constexpr std::size_t kMost = 64;
  if (nodes.empty() || nodes.size() > kMost) node.complain("a machine has 1 to 64 NUMA nodes");
}

void readGpus(const Node& node, const Gpu& defaults, Host& host) {
  readList(node, "a list of GPUs", [&](const Node& element) {
    unsigned count = 1;
    Gpu gpu = defaults;
    readGpu(element, host, gpu, &count);
    if (host.gpus.size() + count > kMaxGpus) {
      return element.complain(fmt::format("a machine has at most {} GPUs", kMaxGpus));
    }
    host.gpus.insert(host.gpus.end(), count, gpu);
  });
  completeHost(host);
  if (const auto id = sharedInstanceId(host)) {
    node.complain(fmt::format("two vGPU instances have the id {}", *id));
  }
}

// Whatever others build upon comes first: NUMA nodes and vGPU types, then the GPUs.
void readMachine(const Node& node, Members& members, Host& host) {
  members.read("description", readText, 4096U, host.description);
  members.read("driver_version", readTextSource, kLongestVersion, host.driverVersion);
  members.read("library_version", readTextSource, kLongestVersion, host.libraryVersion);
  members.read("cuda_version", readNumberSource, NumberRule{.max = 1'000'000}, host.cudaVersion);
  members.read("cpus", readUnsigned, 1U, 8192U, host.cpus);
  members.read("numa_nodes", readNumaNodes, host.numaNodes);
  if (host.numaNodes.empty()) host.numaNodes.resize(1);
  members.read("seed", readInteger, 0U, kForever, host.seed);
  members.read("uptime", readSeconds, 0, kMostSeconds, host.uptime);
  members.read("driver_nodes", readDriverNodes, host.driverNodes);
  members.read("library", readBool, host.library);
  members.read("missing", readOperations, host.missing);
  members.read("init", readInit, host.faults);
  members.read("gpus_per_board", readUnsigned, 1U, 16U, host.gpusPerBoard);
  members.read("vgpu_types", readVgpuTypes, host.vgpuTypes);
  Gpu defaults;
  members.read("defaults", readGpu, host, defaults, nullptr);
  if (!members.read("gpus", readGpus, defaults, host)) node.complain("a machine needs \"gpus\"");
  members.read("processes", readMachineProcesses, host.gpus.size(), host.processes);
  members.read("faults", readFaults, host);
  members.read("lost", readLost, host);
}

}  // namespace

HostReading readHost(std::string_view json, const std::string& name) {
  std::vector<Problem> problems;
  Host host;
  try {
    const Value value = parseValue(json);
    const Node root(value, problems);
    readObject(root, [&](Members& members) { readMachine(root, members, host); });
  } catch (const Problem& problem) {
    problems.push_back(problem);
  }
  if (problems.empty()) {
    completeProcesses(host);
    return {.host = std::move(host)};
  }
  std::stable_sort(problems.begin(), problems.end(),
                   [](const Problem& a, const Problem& b) { return a.line < b.line; });
  HostReading reading;
  for (const Problem& problem : problems) {
    reading.problems.push_back(fmt::format("{}:{}: {}", name, problem.line, problem.text));
  }
  return reading;
}

HostReading readHostFile(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) {
    return {.problems = {path + ": " + (error ? error.message() : "not a regular file")}};
  }
  std::ifstream file(path);
  if (!file) return {.problems = {path + ": " + std::strerror(errno)}};
  return readHost(std::string(std::istreambuf_iterator<char>(file), {}), path);
}

}  // namespace zansim
