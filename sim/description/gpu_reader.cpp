#include "description/gpu_reader.h"

#include "description/values.h"

#include <charconv>
#include <set>

namespace zansim {

namespace {

// Calls `numbers(row, source)` or `texts(row, source)` for each attribute of a group; that of the
// attributes without one is empty.
template <typename Numbers, typename Texts>
void forGroup(std::string_view group, Gpu& gpu, Numbers numbers, Texts texts) {
  for (std::size_t i = 0; i < kNumberRows.size(); ++i) {
    if (groupOf(kNumberRows[i].path) == group) numbers(kNumberRows[i], gpu.numbers[i]);
  }
  for (std::size_t i = 0; i < kTextRows.size(); ++i) {
    if (groupOf(kTextRows[i].path) == group) texts(kTextRows[i], gpu.texts[i]);
  }
}

void readAttributes(Members& members, std::string_view group, Gpu& gpu) {
  forGroup(
      group, gpu,
      [&](const NumberRow& row, NumberSource& source) {
        members.read(nameOf(row.path), readNumberSource, row.rule, source);
      },
      [&](const TextRow& row, TextSource& source) {
        members.read(nameOf(row.path), readTextSource, kLongestText, source);
      });
}

void readGroup(const Node& node, std::string_view group, Gpu& gpu) {
  if (const auto code = readFailure(node)) {
    return forGroup(
        group, gpu,
        [&](const NumberRow&, NumberSource& source) { source = NumberSource::failing(*code); },
        [&](const TextRow&, TextSource& source) { source = TextSource::failing(*code); });
  }
  readObject(
      node, [&](Members& members) { readAttributes(members, group, gpu); },
      "an object or \"unavailable\"");
}

void readBusy(const Node& node, std::vector<NumberSource>& busy) {
  const auto readOne = [&](const Node& element) {
    readNumberSource(element, kAny32, busy.emplace_back());
  };
  if (node.as<Value::List>() == nullptr) return readOne(node);
  readList(node, "a list", readOne);
}

void readEngines(const Node& node, Engines& engines) {
  if (const auto code = readFailure(node)) {
    engines = {.code = *code};
    return;
  }
  engines = {.code = NVML_SUCCESS, .total = 100};
  readObject(node, [&](Members& members) {
    std::vector<NumberSource>& busy = engines.busy;
    members.read("total", readUnsigned, 0U, ~0U, engines.total);
    members.read("busy", readBusy, busy);
    if (busy.empty()) busy.push_back(NumberSource::constant(0));
    // One figure stands for every engine; a list says by its length how many there are.
    auto count = static_cast<unsigned>(busy.size());
    members.read("engines", readUnsigned, 0U, unsigned{kZanmlMaxEngines}, count);
    if (busy.size() == 1) busy.resize(count, NumberSource(busy.front()));
    if (busy.size() != count || count > kZanmlMaxEngines) {
      node.complain("the list \"busy\" has not one entry for each of the \"engines\"");
    }
  });
}

// One component of a placement, "node3" for the word "node".
bool parseLevel(std::string_view& path, std::string_view word, unsigned& level) {
  if (!path.starts_with(word)) return false;
  path.remove_prefix(word.size());
  const auto [stop, error] = std::from_chars(path.data(), path.data() + path.size(), level);
  if (error != std::errc()) return false;
  path.remove_prefix(static_cast<std::size_t>(stop - path.data()));
  return true;
}

void readPlacement(const Node& node, const Host& host, std::optional<Placement>& target) {
  Placement place;
  constexpr unsigned kMost = 65'535;
  if (node.isObject()) {
    readObject(node, [&](Members& members) {
      members.read("numa_node", readUnsigned, 0U, kMost, place.numaNode);
      members.read("host_bridge", readUnsigned, 0U, kMost, place.hostBridge);
      members.read("root_port", readUnsigned, 0U, kMost, place.rootPort);
      members.read("switch", readUnsigned, 0U, kMost, place.bridge);
    });
  } else {
    const auto* const text = node.as<std::string>();
    std::string_view path = text == nullptr ? std::string_view() : *text;
    if (!parseLevel(path, "node", place.numaNode) ||
        !parseLevel(path, "/bridge", place.hostBridge) ||
        !parseLevel(path, "/port", place.rootPort) || !parseLevel(path, "/switch", place.bridge) ||
        !path.empty()) {
      return node.complainExpected("a place like \"node0/bridge0/port0/switch1\"");
    }
  }
  if (expectIndex(node, "NUMA node", host.numaNodes.size(), place.numaNode)) target = place;
}

}  // namespace

void readGpu(const Node& node, const Host& host, Gpu& gpu, unsigned* count) {
  readObject(node, [&](Members& members) {
    if (count != nullptr) members.read("count", readUnsigned, 0U, kMaxGpus, *count);
    std::set<std::string_view> groups;
    for (const NumberRow& row : kNumberRows) groups.insert(groupOf(row.path));
    groups.erase("");
    readAttributes(members, "", gpu);
    for (const std::string_view group : groups) members.read(group, readGroup, group, gpu);
    members.read("jpu", readEngines, gpu.jpu);
    members.read("vpu", readEngines, gpu.vpu);
    members.read("vgpu", readVgpu, host, gpu.vgpu);
    members.read("placement", readPlacement, host, gpu.place);
    members.read("processes", readGpuProcesses, gpu.processes);
  });
}

}  // namespace zansim
