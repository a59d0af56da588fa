// The parts of a description that make up one GPU.
#pragma once

#include "description/host.h"
#include "description/node.h"

namespace zansim {

// What an entry of "gpus", or "defaults", says is laid over `gpu`. An entry may have a "count", the
// number of GPUs that it stands for; `count` is null for "defaults". The NUMA nodes and the vGPU
// types of the machine must have been read.
void readGpu(const Node& node, const Host& host, Gpu& gpu, unsigned* count);

// "vgpu" of a GPU and "vgpu_types" of the machine.
void readVgpu(const Node& node, const Host& host, Vgpu& vgpu);
void readVgpuTypes(const Node& node, std::vector<VgpuType>& types);

// A list of processes of one GPU, or of a machine with so many: then each process names the GPUs
// that it uses.
void readGpuProcesses(const Node& node, std::vector<ProcessEntry>& processes);
void readMachineProcesses(const Node& node, std::size_t gpus, std::vector<ProcessEntry>& processes);

}  // namespace zansim
