#include "description/gpu_reader.h"
#include "description/values.h"

#include <algorithm>
#include <array>
#include <limits>

namespace zansim {

namespace {

constexpr std::size_t kLongestVmText = kZanmlVmTextSize - 1;
constexpr std::size_t kLongestTypeText = kZanmlVgpuTypeTextSize - 1;
// A name of this length has no room for its NUL in a sample.
constexpr std::size_t kLongestProcessName = sizeof(nvmlVgpuProcessUtilizationSample_t::processName);
// Of the instances of a GPU and of their processes.
constexpr std::size_t kMostEntries = 65'536;
constexpr unsigned kAnyId = std::numeric_limits<unsigned>::max();

constexpr NumberRule kPercent{.max = 100};
constexpr NumberRule kAny64{.max = std::numeric_limits<std::uint64_t>::max()};
constexpr NumberRule kBytes{.max = 1ULL << 50U, .form = Form::bytes};

constexpr std::array<std::string_view, 4> kFigures{"sm", "memory", "encoder", "decoder"};

template <typename Target, std::size_t Figure>
constexpr Key<Target> utilizationKey() {
  return {kFigures[Figure], [](const Node& node, Target& target) {
            readNumberSource(node, kPercent, target.utilization[Figure]);
            if (target.utilization[Figure].kind == NumberSource::Kind::fails) {
              node.complain("a part of a sample is always known");
            }
          }};
}

constexpr std::array kProcessKeys{
    Key<VgpuProcess>{
        "pid",
        [](const Node& node, VgpuProcess& process) { readUnsigned(node, 0, kAnyId, process.pid); }},
    Key<VgpuProcess>{"name",
                     [](const Node& node, VgpuProcess& process) {
                       readText(node, kLongestProcessName, process.name);
                     }},
    utilizationKey<VgpuProcess, 0>(),
    utilizationKey<VgpuProcess, 1>(),
    utilizationKey<VgpuProcess, 2>(),
    utilizationKey<VgpuProcess, 3>(),
};

void readTypeId(const Node& node, unsigned& id) {
  readUnsigned(node, 0, kAnyId, id);
  node.refersTo(Named::vgpuType, id);
}

struct InstanceDraft {
  VgpuInstance instance;
  unsigned count = 1;
};

template <TextSource VgpuInstance::*Member>
void readInstanceText(const Node& node, InstanceDraft& draft) {
  readTextSource(node, kLongestVmText, draft.instance.*Member);
}

constexpr std::array kVmKeys{
    Key<InstanceDraft>{"name", readInstanceText<&VgpuInstance::vmName>},
    Key<InstanceDraft>{"uuid", readInstanceText<&VgpuInstance::vmUuid>},
};

constexpr std::array kUtilizationKeys{
    utilizationKey<VgpuInstance, 0>(),
    utilizationKey<VgpuInstance, 1>(),
    utilizationKey<VgpuInstance, 2>(),
    utilizationKey<VgpuInstance, 3>(),
};

constexpr std::array kInstanceKeys{
    Key<InstanceDraft>{"id",
                       [](const Node& node, InstanceDraft& draft) {
                         readUnsigned(node, 1, kAnyId, draft.instance.id);
                         node.refersTo(Named::vgpuInstance, draft.instance.id);
                       }},
    Key<InstanceDraft>{
        "count",
        [](const Node& node, InstanceDraft& draft) { readUnsigned(node, 0, 4096, draft.count); }},
    Key<InstanceDraft>{"type", [](const Node& node,
                                  InstanceDraft& draft) { readTypeId(node, draft.instance.type); }},
    Key<InstanceDraft>{"uuid", readInstanceText<&VgpuInstance::uuid>},
    Key<InstanceDraft>{"mdev_uuid", readInstanceText<&VgpuInstance::mdevUuid>},
    Key<InstanceDraft>{"driver_version", readInstanceText<&VgpuInstance::driverVersion>},
    Key<InstanceDraft>{"vm", [](const Node& node,
                                InstanceDraft& draft) { readObject(node, "VM", kVmKeys, draft); }},
    Key<InstanceDraft>{"ecc",
                       [](const Node& node, InstanceDraft& draft) {
                         readNumberSource(node, {.max = 1, .words = kSwitchWords},
                                          draft.instance.ecc);
                       }},
    Key<InstanceDraft>{"fb_used",
                       [](const Node& node, InstanceDraft& draft) {
                         readNumberSource(node, kBytes, draft.instance.framebufferUsed);
                       }},
    Key<InstanceDraft>{
        "sample",
        [](const Node& node, InstanceDraft& draft) { readBool(node, draft.instance.sample); }},
    Key<InstanceDraft>{"utilization",
                       [](const Node& node, InstanceDraft& draft) {
                         readObject(node, "vGPU utilization", kUtilizationKeys, draft.instance);
                       }},
    Key<InstanceDraft>{"processes",
                       [](const Node& node, InstanceDraft& draft) {
                         readList(node, "a list", [&](const Node& element) {
                           readObject(element, "vGPU process", kProcessKeys,
                                      draft.instance.processes.emplace_back());
                         });
                       }},
};

void readInstances(const Node& node, Vgpu& vgpu) {
  vgpu.instances.clear();
  std::size_t entries = 0;
  readList(node, "a list", [&](const Node& element) {
    if (entries > kMostEntries) return;
    InstanceDraft draft;
    readObject(element, "vGPU instance", kInstanceKeys, draft);
    if (draft.count > 1 && draft.instance.id != 0) {
      element.complain("only one instance can have this \"id\"");
    }
    if (element.json().is_object() && !element.json().contains("type")) {
      element.complain("a vGPU instance has a \"type\"");
    }
    entries += draft.count * (1 + draft.instance.processes.size());
    if (entries > kMostEntries) {
      return element.complain("more instances and processes than can be simulated");
    }
    vgpu.instances.insert(vgpu.instances.end(), draft.count, draft.instance);
  });
}

template <std::vector<unsigned> Vgpu::*Member>
void readTypeIds(const Node& node, Vgpu& vgpu) {
  (vgpu.*Member).clear();
  readList(node, "a list of vGPU type ids",
           [&](const Node& element) { readTypeId(element, (vgpu.*Member).emplace_back()); });
}

constexpr std::array kVgpuKeys{
    Key<Vgpu>{"supported", readTypeIds<&Vgpu::supported>},
    Key<Vgpu>{"creatable", readTypeIds<&Vgpu::creatable>},
    Key<Vgpu>{"instances", readInstances},
};

template <TextSource VgpuType::*Member>
void readTypeText(const Node& node, VgpuType& type) {
  readTextSource(node, kLongestTypeText, type.*Member);
}

constexpr std::array kTypeKeys{
    Key<VgpuType>{"id",
                  [](const Node& node, VgpuType& type) { readUnsigned(node, 0, kAnyId, type.id); }},
    Key<VgpuType>{"name", readTypeText<&VgpuType::name>},
    Key<VgpuType>{"class", readTypeText<&VgpuType::typeClass>},
    Key<VgpuType>{
        "framebuffer",
        [](const Node& node, VgpuType& type) { readNumberSource(node, kBytes, type.framebuffer); }},
    Key<VgpuType>{
        "device_id",
        [](const Node& node, VgpuType& type) { readNumberSource(node, kAny64, type.deviceId); }},
    Key<VgpuType>{
        "subsystem_id",
        [](const Node& node, VgpuType& type) { readNumberSource(node, kAny64, type.subsystemId); }},
    Key<VgpuType>{"max_instances",
                  [](const Node& node, VgpuType& type) {
                    readNumberSource(node, NumberRule{}, type.maxInstances);
                  }},
};

}  // namespace

void readVgpu(const Node& node, Vgpu& vgpu) {
  if (const auto code = readFailure(node)) {
    vgpu = {.code = *code};
    return;
  }
  vgpu.code = NVML_SUCCESS;
  readObject(node, "vGPU", kVgpuKeys, vgpu);
}

void readVgpuTypes(const Node& node, std::vector<VgpuType>& types) {
  readList(node, "a list of vGPU types", [&](const Node& element) {
    VgpuType type;
    readObject(element, "vGPU type", kTypeKeys, type);
    const bool taken = std::any_of(types.begin(), types.end(),
                                   [&](const VgpuType& other) { return other.id == type.id; });
    if (taken) element.complain("another vGPU type has this id");
    if (element.json().is_object() && !element.json().contains("id")) {
      element.complain("a vGPU type has an \"id\"");
    }
    types.push_back(std::move(type));
  });
}

}  // namespace zansim
