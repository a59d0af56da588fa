#include "description/gpu_reader.h"

#include "description/values.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace zansim {

namespace {

// Longer texts than the library's buffers take are {"raw": TEXT}.
constexpr std::size_t kLongestText = 255;

// Whether the path is "group/name", or the name alone where there is no group.
bool isPath(std::string_view path, std::string_view group, std::string_view name) {
  if (group.empty()) return path == name;
  return path.size() == group.size() + 1 + name.size() && path.starts_with(group) &&
         path[group.size()] == '/' && path.ends_with(name);
}

template <typename Row>
const Row* findRow(std::span<const Row> rows, std::string_view group, std::string_view name) {
  for (const Row& row : rows) {
    if (isPath(row.path, group, name)) return &row;
  }
  return nullptr;
}

std::vector<std::string_view> namesInGroup(std::string_view group) {
  std::vector<std::string_view> names;
  const auto add = [&](std::string_view path) {
    if (path.starts_with(group) && path.size() > group.size() && path[group.size()] == '/') {
      names.push_back(path.substr(group.size() + 1));
    }
  };
  for (const NumberRow& row : numberRows()) add(row.path);
  for (const TextRow& row : textRows()) add(row.path);
  return names;
}

// Whether there is such an attribute.
bool readAttribute(const Node& node, std::string_view group, std::string_view name, Gpu& gpu) {
  if (const NumberRow* row = findRow(numberRows(), group, name)) {
    node.noteKey("GPU", row->path, true);
    readNumberSource(node, row->rule, gpu[row->attribute]);
    return true;
  }
  if (const TextRow* row = findRow(textRows(), group, name)) {
    node.noteKey("GPU", row->path, true);
    readTextSource(node, kLongestText, gpu[row->attribute]);
    return true;
  }
  return false;
}

// Everything of the group that the description has not set answers the code.
void failGroup(std::string_view group, nvmlReturn_t code, Gpu& gpu) {
  for (const std::string_view name : namesInGroup(group)) {
    if (const NumberRow* row = findRow(numberRows(), group, name)) {
      gpu[row->attribute] = NumberSource::failing(code);
    } else if (const TextRow* text = findRow(textRows(), group, name)) {
      gpu[text->attribute] = TextSource::failing(code);
    }
  }
}

void readGroup(const Node& node, std::string_view group, Gpu& gpu) {
  if (const auto code = readFailure(node)) return failGroup(group, *code, gpu);
  if (!expectObject(node, "an object or \"unavailable\"")) return;
  for (const auto& [name, value] : node.json().items()) {
    const Node member = node.member(name, value);
    if (!readAttribute(member, group, name, gpu)) {
      complainUnknownKey(member, name, namesInGroup(group));
    }
  }
}

struct EnginesDraft {
  unsigned engines = 0;
  Engines result;
};

void readBusy(const Node& node, EnginesDraft& draft) {
  const NumberRule rule{};
  if (!node.json().is_array()) {
    readNumberSource(node, rule, draft.result.busy.emplace_back());
    return;
  }
  readList(node, "a list", [&](const Node& element) {
    readNumberSource(element, rule, draft.result.busy.emplace_back());
  });
}

constexpr std::array kEngineKeys{
    Key<EnginesDraft>{"engines",
                      [](const Node& node, EnginesDraft& draft) {
                        readUnsigned(node, 0, kZanmlMaxEngines, draft.engines);
                      }},
    Key<EnginesDraft>{"total",
                      [](const Node& node, EnginesDraft& draft) {
                        readUnsigned(node, 0, ~0U, draft.result.total);
                      }},
    Key<EnginesDraft>{"busy", readBusy},
};

void readEngines(const Node& node, Engines& engines) {
  if (const auto code = readFailure(node)) {
    engines = {.code = *code};
    return;
  }
  EnginesDraft draft{.result = {.code = NVML_SUCCESS, .total = 100}};
  readObject(node, "engines", kEngineKeys, draft);
  std::vector<NumberSource>& busy = draft.result.busy;
  if (busy.empty()) busy.push_back(NumberSource::constant(0));
  // One figure stands for every engine; a list says by its length how many there are.
  if (draft.engines == 0 && node.json().is_object() && !node.json().contains("engines")) {
    draft.engines = static_cast<unsigned>(busy.size());
  }
  if (busy.size() == 1) busy.resize(draft.engines, NumberSource(busy.front()));
  if (busy.size() != draft.engines || busy.size() > kZanmlMaxEngines) {
    return node.complain("the list \"busy\" has not one entry for each of the \"engines\"");
  }
  engines = std::move(draft.result);
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

constexpr std::array kPlacementKeys{
    Key<Placement>{
        "numa_node",
        [](const Node& node, Placement& place) { readUnsigned(node, 0, 63, place.numaNode); }},
    Key<Placement>{
        "host_bridge",
        [](const Node& node, Placement& place) { readUnsigned(node, 0, 65535, place.hostBridge); }},
    Key<Placement>{
        "root_port",
        [](const Node& node, Placement& place) { readUnsigned(node, 0, 65535, place.rootPort); }},
    Key<Placement>{"switch", [](const Node& node,
                                Placement& place) { readUnsigned(node, 0, 65535, place.bridge); }},
};

void readPlacement(const Node& node, Gpu& gpu) {
  Placement place;
  if (node.json().is_object()) {
    readObject(node, "placement", kPlacementKeys, place);
  } else {
    const bool isText = node.json().is_string();
    std::string_view path = isText ? node.json().get_ref<const std::string&>() : std::string_view();
    if (!(parseLevel(path, "node", place.numaNode) &&
          parseLevel(path, "/bridge", place.hostBridge) &&
          parseLevel(path, "/port", place.rootPort) && parseLevel(path, "/switch", place.bridge) &&
          path.empty())) {
      return node.complainExpected("a place like \"node0/bridge0/port0/switch1\"");
    }
  }
  node.refersTo(Named::numaNode, place.numaNode);
  gpu.place = place;
}

struct GpuDraft {
  Gpu& gpu;
  unsigned& count;
};

constexpr std::array kGpuKeys{
    Key<GpuDraft>{"count", [](const Node& node,
                              GpuDraft& draft) { readUnsigned(node, 0, kMaxGpus, draft.count); }},
    Key<GpuDraft>{"jpu",
                  [](const Node& node, GpuDraft& draft) { readEngines(node, draft.gpu.jpu); }},
    Key<GpuDraft>{"vpu",
                  [](const Node& node, GpuDraft& draft) { readEngines(node, draft.gpu.vpu); }},
    Key<GpuDraft>{"vgpu",
                  [](const Node& node, GpuDraft& draft) { readVgpu(node, draft.gpu.vgpu); }},
    Key<GpuDraft>{"placement",
                  [](const Node& node, GpuDraft& draft) { readPlacement(node, draft.gpu); }},
    Key<GpuDraft>{"processes",
                  [](const Node& node, GpuDraft& draft) {
                    draft.gpu.processes.clear();
                    readProcesses(node, ProcessOwner::gpu, draft.gpu.processes);
                  }},
};

std::vector<std::string_view> gpuKeyNames() {
  std::vector<std::string_view> names;
  names.reserve(kGpuKeys.size() + numberRows().size() + textRows().size());
  for (const auto& key : kGpuKeys) names.push_back(key.name);
  const auto add = [&](std::string_view path) {
    const std::string_view name = path.substr(0, path.find('/'));
    if (names.back() != name) names.push_back(name);
  };
  for (const NumberRow& row : numberRows()) add(row.path);
  for (const TextRow& row : textRows()) add(row.path);
  return names;
}

}  // namespace

void readGpu(const Node& node, Gpu& gpu, unsigned& count) {
  if (!expectObject(node)) return;
  GpuDraft draft{gpu, count};
  for (const auto& key : kGpuKeys) node.noteKey("GPU", key.name, node.json().contains(key.name));
  for (const NumberRow& row : numberRows()) node.noteKey("GPU", row.path, false);
  for (const TextRow& row : textRows()) node.noteKey("GPU", row.path, false);
  for (const auto& item : node.json().items()) {
    const std::string& name = item.key();
    const Node member = node.member(name, item.value());
    const auto* key = std::find_if(kGpuKeys.begin(), kGpuKeys.end(),
                                   [&](const auto& candidate) { return candidate.name == name; });
    if (key != kGpuKeys.end()) {
      key->read(member, draft);
    } else if (isAttributeGroup(name)) {
      readGroup(member, name, gpu);
    } else if (!readAttribute(member, "", name, gpu)) {
      complainUnknownKey(member, name, gpuKeyNames());
    }
  }
}

}  // namespace zansim
