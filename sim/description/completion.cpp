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
  otherwise(gpu[Number("pci/domain")], index / kPerDomain);
  otherwise(gpu[Number("pci/bus")], kFirstBus + index % kPerDomain * kBusStep);
  otherwise(gpu[Number("pci/device")], 0);
  const auto id = [&](int digits) {
    return fmt::format("{:0{}X}:{:02X}:{:02X}.0", gpu[Number("pci/domain")].value, digits,
                       gpu[Number("pci/bus")].value, gpu[Number("pci/device")].value);
  };
  otherwise(gpu[Text("pci/bus_id")], id(8));
  otherwise(gpu[Text("pci/bus_id_legacy")], id(4));
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
  const NumberSource& firstBus = host.gpus[board * host.gpusPerBoard][Number("pci/bus")];
  otherwise(gpu[Number("board/id")], board << 16U | (firstBus.value & 0xffU) << 8U);
  otherwise(gpu[Number("board/position")], index % host.gpusPerBoard);
  otherwise(gpu[Number("board/multi")], host.gpusPerBoard > 1 ? 1 : 0);
  // Seven bytes, as the fourteen digits that are printed.
  otherwise(gpu[Number("board/sn")], identity(host, Purpose::boardSn, board) >> 8U);
}

void completeGpu(const Host& host, Gpu& gpu, std::size_t index) {
  for (TextSource& text : gpu.texts) replaceIndex(text.text, index);
  otherwise(gpu[Text("uuid")], "GPU-" + uuidText(host, Purpose::uuid, index));
  otherwise(gpu[Text("serial")],
            fmt::format("{:014d}", identity(host, Purpose::serial, index) % 100'000'000'000'000));
  otherwise(gpu[Number("minor_number")], index);
  otherwise(gpu[Number("gpu_sn")], identity(host, Purpose::gpuSn, index) >> 32U);
  completePci(gpu, index);
  completePlacement(host, gpu, index);
  completeBoard(host, gpu, index);
  for (std::size_t i = 0; i < kNumberRows.size(); ++i) {
    if (gpu.numbers[i].kind != NumberSource::Kind::unset) continue;
    const std::optional<std::uint64_t> usual = kNumberRows[i].usual;
    gpu.numbers[i] =
        usual ? NumberSource::constant(*usual) : NumberSource::failing(NVML_ERROR_NOT_SUPPORTED);
  }
  for (std::size_t i = 0; i < kTextRows.size(); ++i) {
    otherwise(gpu.texts[i], std::string(kTextRows[i].usual));
  }
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

void completeVgpus(Host& host) {
  for (VgpuType& type : host.vgpuTypes) completeType(type);
  std::size_t ordinal = 0;
  for (Gpu& gpu : host.gpus) {
    for (VgpuInstance& instance : gpu.vgpu.instances) completeInstance(host, instance, ordinal++);
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

void completeNodes(Host& host) {
  unsigned listed = 0;
  for (const NumaNode& node : host.numaNodes) {
    if (!node.cpus.empty()) listed = std::max(listed, node.cpus.back() + 1);
  }
  constexpr unsigned kUsualCpus = 16;
  if (host.cpus == 0) host.cpus = listed == 0 ? kUsualCpus : listed;
  if (listed != 0 || host.numaNodes.empty()) return;
  // Without a word about them the CPUs are dealt evenly.
  const auto nodes = static_cast<unsigned>(host.numaNodes.size());
  for (unsigned cpu = 0; cpu < host.cpus; ++cpu) {
    host.numaNodes[cpu * nodes / host.cpus].cpus.push_back(cpu);
  }
}

}  // namespace

void completeHost(Host& host) {
  otherwise(host.driverVersion, "1.8.2");
  otherwise(host.libraryVersion, "1.8.2");
  otherwise(host.cudaVersion, 11040);
  completeNodes(host);
  for (std::size_t index = 0; index < host.gpus.size(); ++index) {
    completeGpu(host, host.gpus[index], index);
  }
  completeVgpus(host);
}

std::optional<unsigned> sharedInstanceId(const Host& host) {
  std::set<unsigned> ids;
  for (const Gpu& gpu : host.gpus) {
    for (const VgpuInstance& instance : gpu.vgpu.instances) {
      if (!ids.insert(instance.id).second) return instance.id;
    }
  }
  return std::nullopt;
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

}  // namespace zansim
