#include "description/completion.h"

#include "description/values.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

namespace zansim {

namespace {

// What the hash of a generated identity is for.
enum class Purpose : std::uint64_t { uuid = 1, serial, gpuSn, boardSn, vgpuUuid, mdevUuid, vmUuid };

std::uint64_t identity(const Host& host, Purpose purpose, std::uint64_t index) {
  return mix(host.seed, static_cast<std::uint64_t>(purpose), index);
}

std::string uuidText(const Host& host, Purpose purpose, std::uint64_t index) {
  const std::uint64_t high = identity(host, purpose, 2 * index);
  const std::uint64_t low = identity(host, purpose, 2 * index + 1);
  return fmt::format("{:08x}-{:04x}-{:04x}-{:04x}-{:012x}", high >> 32U, high >> 16U & 0xffffU,
                     high & 0xffffU, low >> 48U, low & 0xffffffffffffU);
}

void otherwise(NumberSource& source, std::uint64_t value) {
  if (source.kind == NumberSource::Kind::unset) source = NumberSource::constant(value);
}

void otherwise(TextSource& source, std::string text) {
  if (!source.given) source = TextSource::constant(std::move(text));
}

void completePci(Gpu& gpu, std::size_t index) {
  // Buses as they are spread in a real machine: apart, and never 0.
  constexpr std::size_t kPerDomain = 32;
  constexpr std::size_t kFirstBus = 0x17;
  constexpr std::size_t kBusStep = 7;
  otherwise(gpu[Number::pciDomain], index / kPerDomain);
  otherwise(gpu[Number::pciBus], kFirstBus + index % kPerDomain * kBusStep);
  otherwise(gpu[Number::pciDevice], 0);
  const auto id = [&](int digits) {
    return fmt::format("{:0{}X}:{:02X}:{:02X}.0", gpu[Number::pciDomain].value, digits,
                       gpu[Number::pciBus].value, gpu[Number::pciDevice].value);
  };
  otherwise(gpu[Text::pciBusId], id(8));
  otherwise(gpu[Text::pciBusIdLegacy], id(4));
}

// GPUs in the order of their indices, dealt evenly to the NUMA nodes; two to a switch, two
// switches to a root port, two ports to a host bridge, a board never apart.
void completePlacement(const Host& host, Gpu& gpu, std::size_t index) {
  if (gpu.place) return;
  const std::size_t board = index / host.gpusPerBoard;
  const std::size_t boards = (host.gpus.size() + host.gpusPerBoard - 1) / host.gpusPerBoard;
  const std::size_t nodes = host.numaNodes.size();
  const std::size_t perNode = (boards + nodes - 1) / nodes;
  const std::size_t within = board % perNode * host.gpusPerBoard + index % host.gpusPerBoard;
  const std::size_t perSwitch = std::max<std::size_t>(2, host.gpusPerBoard);
  gpu.place = Placement{.numaNode = static_cast<unsigned>(board / perNode),
                        .hostBridge = static_cast<unsigned>(within / (4 * perSwitch)),
                        .rootPort = static_cast<unsigned>(within / (2 * perSwitch)),
                        .bridge = static_cast<unsigned>(within / perSwitch)};
}

void completeBoard(const Host& host, Gpu& gpu, std::size_t index) {
  const std::size_t board = index / host.gpusPerBoard;
  const NumberSource& firstBus = host.gpus[board * host.gpusPerBoard][Number::pciBus];
  otherwise(gpu[Number::boardId], board << 16U | (firstBus.value & 0xffU) << 8U);
  otherwise(gpu[Number::boardPosition], index % host.gpusPerBoard);
  otherwise(gpu[Number::boardMulti], host.gpusPerBoard > 1 ? 1 : 0);
  // Seven bytes, as the fourteen digits that are printed.
  otherwise(gpu[Number::boardSn], identity(host, Purpose::boardSn, board) >> 8U);
}

void completeGpu(const Host& host, Gpu& gpu, std::size_t index) {
  for (TextSource& text : gpu.texts) replaceIndex(text.text, index);
  otherwise(gpu[Text::uuid], "GPU-" + uuidText(host, Purpose::uuid, index));
  otherwise(gpu[Text::serial],
            fmt::format("{:014d}", identity(host, Purpose::serial, index) % 100'000'000'000'000));
  otherwise(gpu[Number::minorNumber], index);
  otherwise(gpu[Number::gpuSn], identity(host, Purpose::gpuSn, index) >> 32U);
  completePci(gpu, index);
  completePlacement(host, gpu, index);
  completeBoard(host, gpu, index);
  for (const NumberRow& row : numberRows()) {
    NumberSource& source = gpu[row.attribute];
    if (source.kind != NumberSource::Kind::unset) continue;
    source = row.otherwise == Otherwise::unavailable
                 ? NumberSource::failing(NVML_ERROR_NOT_SUPPORTED)
                 : NumberSource::constant(row.value);
  }
  for (const TextRow& row : textRows()) otherwise(gpu[row.attribute], std::string(row.value));
}

void completeType(VgpuType& type) {
  otherwise(type.name, fmt::format("KV100-{}", type.id));
  otherwise(type.typeClass, "Compute");
  otherwise(type.framebuffer, 4ULL << 30U);
  otherwise(type.deviceId, 0x1c011f5a);
  otherwise(type.subsystemId, 0x00201f5a);
  otherwise(type.maxInstances, 8);
}

void completeInstance(const Host& host, VgpuInstance& instance, std::size_t ordinal) {
  for (TextSource* text : {&instance.uuid, &instance.mdevUuid, &instance.vmName, &instance.vmUuid,
                           &instance.driverVersion}) {
    replaceIndex(text->text, ordinal);
  }
  if (instance.id == 0) instance.id = static_cast<unsigned>(ordinal + 1);
  otherwise(instance.uuid, uuidText(host, Purpose::vgpuUuid, ordinal));
  otherwise(instance.mdevUuid, uuidText(host, Purpose::mdevUuid, ordinal));
  otherwise(instance.vmUuid, uuidText(host, Purpose::vmUuid, ordinal));
  otherwise(instance.vmName, fmt::format("vm-{}", ordinal));
  otherwise(instance.driverVersion, host.driverVersion.text);
  otherwise(instance.ecc, 0);
  otherwise(instance.framebufferUsed, 0);
  for (NumberSource& figure : instance.utilization) otherwise(figure, 0);
  for (VgpuProcess& process : instance.processes) {
    for (NumberSource& figure : process.utilization) otherwise(figure, 0);
  }
}

// Where the description gives an instance this id; a generated one has no place of its own.
std::string placeOfInstance(const Findings& findings, unsigned id) {
  const auto found = std::find_if(
      findings.references.rbegin(), findings.references.rend(), [&](const Reference& reference) {
        return reference.what == Named::vgpuInstance && reference.number == id;
      });
  return found == findings.references.rend() ? "/gpus" : found->place;
}

void completeVgpus(Host& host, Findings& findings) {
  for (VgpuType& type : host.vgpuTypes) completeType(type);
  std::set<unsigned> ids;
  std::size_t ordinal = 0;
  for (Gpu& gpu : host.gpus) {
    for (VgpuInstance& instance : gpu.vgpu.instances) {
      completeInstance(host, instance, ordinal++);
      if (ids.insert(instance.id).second || !findings.keepsAnother()) continue;
      findings.problems.push_back(
          {placeOfInstance(findings, instance.id),
           fmt::format("another vGPU instance has the id {}", instance.id)});
    }
  }
}

// The words of a process tell which process of an edited description is the same as before.
void assignKeys(Host& host) {
  std::map<std::uint64_t, std::uint64_t> seen;
  for (ProcessEntry& entry : host.processes) {
    std::uint64_t key = mix(static_cast<std::uint64_t>(entry.kind), entry.count);
    for (const std::string& argument : entry.arguments) {
      key = mix(key, std::hash<std::string>()(argument));
    }
    for (const unsigned gpu : entry.gpus) key = mix(key, gpu);
    entry.key = mix(key, seen[key]++);
  }
}

void completeProcesses(Host& host) {
  for (std::size_t index = 0; index < host.gpus.size(); ++index) {
    for (ProcessEntry& entry : host.gpus[index].processes) {
      for (std::string& argument : entry.arguments) replaceIndex(argument, index);
      entry.gpus = {static_cast<unsigned>(index)};
      host.processes.push_back(std::move(entry));
    }
    host.gpus[index].processes.clear();
  }
  assignKeys(host);
}

void completeNodes(Host& host) {
  if (host.numaNodes.empty()) host.numaNodes.resize(1);
  unsigned listed = 0;
  for (const NumaNode& node : host.numaNodes) {
    if (!node.cpus.empty()) listed = std::max(listed, node.cpus.back() + 1);
  }
  constexpr unsigned kUsualCpus = 16;
  if (host.cpus == 0) host.cpus = listed == 0 ? kUsualCpus : listed;
  if (listed != 0) return;
  // Without a word about them the CPUs are dealt evenly.
  const auto nodes = static_cast<unsigned>(host.numaNodes.size());
  for (unsigned cpu = 0; cpu < host.cpus; ++cpu) {
    host.numaNodes[cpu * nodes / host.cpus].cpus.push_back(cpu);
  }
}

// Whether nothing is wrong with the part of the description that says how many there are.
bool isCounted(Named what, const std::vector<Problem>& problems) {
  return std::none_of(problems.begin(), problems.end(), [&](const Problem& problem) {
    const std::string& place = problem.place;
    switch (what) {
      case Named::gpu:
        return place.empty() || place == "/gpus" || place.ends_with("/count");
      case Named::numaNode:
        return place.starts_with("/numa_nodes");
      case Named::vgpuType:
        return place.starts_with("/vgpu_types");
      case Named::vgpuInstance:
        break;
    }
    return false;
  });
}

// Why there is no such thing on the machine; empty when there is.
std::string whyMissing(const Reference& reference, const Host& host) {
  const unsigned number = reference.number;
  const auto beyond = [&](std::string_view what, std::size_t count) {
    if (number < count) return std::string();
    const std::string has = count == 0   ? "none"
                            : count == 1 ? "only 0"
                                         : fmt::format("0 to {}", count - 1);
    return fmt::format("there is no {} {}, the machine has {}", what, number, has);
  };
  switch (reference.what) {
    case Named::gpu:
      return beyond("GPU", host.gpus.size());
    case Named::numaNode:
      return beyond("NUMA node", host.numaNodes.size());
    case Named::vgpuType:
      if (std::any_of(host.vgpuTypes.begin(), host.vgpuTypes.end(),
                      [&](const VgpuType& type) { return type.id == number; })) {
        return "";
      }
      return fmt::format("the vGPU type {} is none of \"vgpu_types\"", number);
    case Named::vgpuInstance:
      break;
  }
  return "";
}

void checkReferences(const Host& host, Findings& findings) {
  const std::vector<Problem> before = findings.problems;
  for (const Reference& reference : findings.references) {
    std::string reason = whyMissing(reference, host);
    if (reason.empty() || !isCounted(reference.what, before) || !findings.keepsAnother()) continue;
    findings.problems.push_back({reference.place, std::move(reason)});
  }
}

}  // namespace

void completeHost(Host& host, Findings& findings) {
  otherwise(host.driverVersion, "1.8.2");
  otherwise(host.libraryVersion, "1.8.2");
  otherwise(host.cudaVersion, 11040);
  completeNodes(host);
  for (std::size_t index = 0; index < host.gpus.size(); ++index) {
    completeGpu(host, host.gpus[index], index);
  }
  completeVgpus(host, findings);
  completeProcesses(host);
  checkReferences(host, findings);
}

}  // namespace zansim
