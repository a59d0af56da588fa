// A described machine as the library answers for it: the description with the process ids that
// the launcher found and the indices that make calls cheap. Never changes; an edited description
// is another machine.
#pragma once

#include "description/host.h"
#include "machine/fault_plan.h"
#include "machine/process_table.h"

#include <unordered_map>
#include <vector>

namespace zansim {

struct ListedProcess {
  bool self = false;  // the calling process, whatever its id
  unsigned pid = 0;
  const NumberSource* memory = nullptr;
};

struct GpuProcesses {
  std::vector<ListedProcess> running;
  std::vector<ListedProcess> all;
  std::vector<unsigned> vgpuPids;
};

struct InstancePlace {
  unsigned gpu;
  const VgpuInstance* instance;
};

class Machine {
 public:
  Machine(Host host, const ProcessTable& table);
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  const Host& host() const { return host_; }
  unsigned gpuCount() const { return static_cast<unsigned>(host_.gpus.size()); }
  const GpuProcesses& processes(unsigned gpu) const { return processes_[gpu]; }
  const FaultPlan& faults() const { return faults_; }

  // Null when there is none.
  const InstancePlace* findInstance(unsigned id) const;
  const VgpuType* findType(unsigned id) const;

 private:
  Host host_;
  FaultPlan faults_;
  std::vector<GpuProcesses> processes_;
  std::unordered_map<unsigned, InstancePlace> instances_;
};

}  // namespace zansim
