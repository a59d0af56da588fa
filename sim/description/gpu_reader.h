// The parts of a description that make up one GPU.
#pragma once

#include "description/host.h"
#include "description/node.h"

namespace zansim {

// One entry of "gpus", or "defaults". What the entry says is laid over `gpu`; `count` tells how
// many GPUs the entry stands for.
void readGpu(const Node& node, Gpu& gpu, unsigned& count);

// "vgpu" of a GPU and "vgpu_types" of the machine.
void readVgpu(const Node& node, Vgpu& vgpu);
void readVgpuTypes(const Node& node, std::vector<VgpuType>& types);

// A list of processes; one of the machine names the GPUs that each process uses.
enum class ProcessOwner { gpu, machine };
void readProcesses(const Node& node, ProcessOwner owner, std::vector<ProcessEntry>& processes);

}  // namespace zansim
