#include "machine/machine.h"

namespace zansim {

namespace {

std::vector<ListedProcess> listed(const ProcessEntry& entry, const ProcessTable& table) {
  std::vector<ListedProcess> processes;
  const auto add = [&](bool self, unsigned pid) {
    processes.push_back({.self = self, .pid = pid, .memory = &entry.memory});
  };
  switch (entry.kind) {
    case ProcessEntry::Kind::self:
      add(true, 0);
      break;
    case ProcessEntry::Kind::pid:
      for (unsigned i = 0; i < entry.count; ++i) add(false, entry.pid + i);
      break;
    default:
      // A process that the launcher has not started is not there.
      if (const auto found = table.find(entry.key); found != table.end()) {
        for (const unsigned pid : found->second) add(false, pid);
      }
  }
  return processes;
}

}  // namespace

Machine::Machine(Host host, const ProcessTable& table)
    : host_(std::move(host)), faults_(host_.faults), processes_(host_.gpus.size()) {
  for (const ProcessEntry& entry : host_.processes) {
    const std::vector<ListedProcess> processes = listed(entry, table);
    for (const unsigned gpu : entry.gpus) {
      GpuProcesses& lists = processes_[gpu];
      lists.all.insert(lists.all.end(), processes.begin(), processes.end());
      if (entry.runningList) {
        lists.running.insert(lists.running.end(), processes.begin(), processes.end());
      }
      if (!entry.vgpu) continue;
      for (const ListedProcess& process : processes) lists.vgpuPids.push_back(process.pid);
    }
  }
  for (unsigned gpu = 0; gpu < gpuCount(); ++gpu) {
    for (const VgpuInstance& instance : host_.gpus[gpu].vgpu.instances) {
      instances_.emplace(instance.id, InstancePlace{gpu, &instance});
    }
  }
}

const InstancePlace* Machine::findInstance(unsigned id) const {
  const auto found = instances_.find(id);
  return found == instances_.end() ? nullptr : &found->second;
}

const VgpuType* Machine::findType(unsigned id) const {
  for (const VgpuType& type : host_.vgpuTypes) {
    if (type.id == id) return &type;
  }
  return nullptr;
}

}  // namespace zansim
