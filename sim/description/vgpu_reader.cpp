#include "description/gpu_reader.h"
#include "description/values.h"

#include <algorithm>

namespace zansim {

namespace {

constexpr std::size_t kLongestVmText = kZanmlVmTextSize - 1;
constexpr std::size_t kLongestTypeText = kZanmlVgpuTypeTextSize - 1;
// A name of this length has no room for its NUL in a sample.
constexpr std::size_t kLongestProcessName = sizeof(nvmlVgpuProcessUtilizationSample_t::processName);
constexpr unsigned kMostInstances = 4096;

void readShares(Members& members, std::array<NumberSource, 4>& utilization) {
  constexpr NumberRule kShare{.max = 100, .mayFail = false};
  std::size_t i = 0;
  for (const char* const name : {"sm", "memory", "encoder", "decoder"}) {
    members.read(name, readNumberSource, kShare, utilization[i++]);
  }
}

void readUtilization(const Node& node, std::array<NumberSource, 4>& utilization) {
  readObject(node, [&](Members& members) { readShares(members, utilization); });
}

void readProcesses(const Node& node, std::vector<VgpuProcess>& processes) {
  readList(node, "a list", [&](const Node& element) {
    readObject(element, [&](Members& members) {
      VgpuProcess& process = processes.emplace_back();
      members.read("pid", readUnsigned, 0U, ~0U, process.pid);
      members.read("name", readText, kLongestProcessName, process.name);
      readShares(members, process.utilization);
    });
  });
}

void readTypeId(const Node& node, const Host& host, unsigned& id) {
  readUnsigned(node, 0, ~0U, id);
  if (std::none_of(host.vgpuTypes.begin(), host.vgpuTypes.end(),
                   [&](const VgpuType& type) { return type.id == id; })) {
    node.complain("the vGPU type " + std::to_string(id) + " is none of \"vgpu_types\"");
  }
}

void readTypeIds(const Node& node, const Host& host, std::vector<unsigned>& ids) {
  ids.clear();
  readList(node, "a list of vGPU type ids",
           [&](const Node& element) { readTypeId(element, host, ids.emplace_back()); });
}

void readVm(const Node& node, VgpuInstance& instance) {
  readObject(node, [&](Members& members) {
    members.read("name", readTextSource, kLongestVmText, instance.vmName);
    members.read("uuid", readTextSource, kLongestVmText, instance.vmUuid);
  });
}

void readInstances(const Node& node, const Host& host, std::vector<VgpuInstance>& instances) {
  instances.clear();
  readList(node, "a list", [&](const Node& element) {
    readObject(element, [&](Members& members) {
      VgpuInstance instance;
      unsigned count = 1;
      members.read("id", readUnsigned, 1U, ~0U, instance.id);
      members.read("count", readUnsigned, 0U, kMostInstances, count);
      if (!members.read("type", readTypeId, host, instance.type)) {
        element.complain("a vGPU instance has a \"type\"");
      }
      members.read("uuid", readTextSource, kLongestVmText, instance.uuid);
      members.read("mdev_uuid", readTextSource, kLongestVmText, instance.mdevUuid);
      members.read("driver_version", readTextSource, kLongestVmText, instance.driverVersion);
      members.read("vm", readVm, instance);
      members.read("ecc", readNumberSource, kOnOff, instance.ecc);
      members.read("fb_used", readNumberSource, kBytes, instance.framebufferUsed);
      members.read("sample", readBool, instance.sample);
      members.read("utilization", readUtilization, instance.utilization);
      members.read("processes", readProcesses, instance.processes);
      instances.insert(instances.end(), count, instance);
    });
  });
}

}  // namespace

void readVgpu(const Node& node, const Host& host, Vgpu& vgpu) {
  if (const auto code = readFailure(node)) {
    vgpu = {.code = *code};
    return;
  }
  vgpu.code = NVML_SUCCESS;
  readObject(node, [&](Members& members) {
    members.read("supported", readTypeIds, host, vgpu.supported);
    members.read("creatable", readTypeIds, host, vgpu.creatable);
    members.read("instances", readInstances, host, vgpu.instances);
  });
}

void readVgpuTypes(const Node& node, std::vector<VgpuType>& types) {
  readList(node, "a list of vGPU types", [&](const Node& element) {
    readObject(element, [&](Members& members) {
      VgpuType type;
      if (!members.read("id", readUnsigned, 0U, ~0U, type.id)) {
        element.complain("a vGPU type has an \"id\"");
      }
      if (std::any_of(types.begin(), types.end(),
                      [&](const VgpuType& other) { return other.id == type.id; })) {
        element.complain("another vGPU type has this id");
      }
      members.read("name", readTextSource, kLongestTypeText, type.name);
      members.read("class", readTextSource, kLongestTypeText, type.typeClass);
      members.read("framebuffer", readNumberSource, kBytes, type.framebuffer);
      members.read("device_id", readNumberSource, kAny64, type.deviceId);
      members.read("subsystem_id", readNumberSource, kAny64, type.subsystemId);
      members.read("max_instances", readNumberSource, kAny32, type.maxInstances);
      types.push_back(std::move(type));
    });
  });
}

}  // namespace zansim
