// A described machine, complete: every attribute has a source, whatever the description left out.
#pragma once

#include "description/attributes.h"
#include "description/operations.h"
#include "description/source.h"

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace zansim {

// More than any machine has, and a fixed size for the state shared between processes.
constexpr unsigned kMaxGpus = 1024;

// Where a GPU is plugged in. Two GPUs share a part of the tree when that part and all above it
// have equal numbers.
struct Placement {
  unsigned numaNode = 0;
  unsigned hostBridge = 0;
  unsigned rootPort = 0;
  unsigned bridge = 0;  // the PCIe switch nearest to the GPU
};

// The JPU or VPU of a GPU.
struct Engines {
  nvmlReturn_t code = NVML_ERROR_NOT_SUPPORTED;  // success: there are engines
  unsigned total = 0;                            // the value at which a VPU engine is fully busy
  std::vector<NumberSource> busy = {};           // one per engine: percent, or out of `total`
};

struct ProcessEntry {
  enum class Kind : std::uint8_t { real, dead, zombie, self, pid };

  Kind kind = Kind::real;
  bool vgpu = false;        // also one of the GPU's vGPU processes
  bool runningList = true;  // listed among the running (compute) processes
  unsigned count = 1;       // so many alike; process ids count up from `pid`
  unsigned pid = 0;         // of Kind::pid
  std::vector<std::string> arguments;
  NumberSource memory = NumberSource::constant(0);  // bytes
  std::vector<unsigned> gpus;                       // the GPUs that list it
  std::uint64_t key = 0;  // the same for the same entry in an edited description
};

struct VgpuType {
  unsigned id = 0;
  TextSource name;
  TextSource typeClass;
  NumberSource framebuffer;  // bytes
  NumberSource deviceId;
  NumberSource subsystemId;
  NumberSource maxInstances;
};

struct VgpuProcess {
  unsigned pid = 0;
  std::string name;
  std::array<NumberSource, 4> utilization;  // SM, memory, encoder, decoder; percent
};

struct VgpuInstance {
  unsigned id = 0;
  unsigned type = 0;
  TextSource uuid;
  TextSource mdevUuid;
  TextSource vmName;
  TextSource vmUuid;
  TextSource driverVersion;
  NumberSource ecc;
  NumberSource framebufferUsed;             // bytes
  bool sample = true;                       // whether the GPU reports its utilisation
  std::array<NumberSource, 4> utilization;  // SM, memory, encoder, decoder; percent
  std::vector<VgpuProcess> processes;
};

struct Vgpu {
  nvmlReturn_t code = NVML_ERROR_NOT_SUPPORTED;  // success: the GPU can hold vGPUs
  std::vector<unsigned> supported = {};
  std::vector<unsigned> creatable = {};
  std::vector<VgpuInstance> instances = {};
};

struct Gpu {
  std::array<NumberSource, kNumberRows.size()> numbers;
  std::array<TextSource, kTextRows.size()> texts;
  Engines jpu;
  Engines vpu;
  Vgpu vgpu;
  std::optional<Placement> place;       // always set in a complete machine
  std::vector<ProcessEntry> processes;  // empty in a complete machine: see Host::processes

  const NumberSource& operator[](Number attribute) const { return numbers[attribute.row]; }
  NumberSource& operator[](Number attribute) { return numbers[attribute.row]; }
  const TextSource& operator[](Text attribute) const { return texts[attribute.row]; }
  TextSource& operator[](Text attribute) { return texts[attribute.row]; }
};

struct NumaNode {
  std::vector<unsigned> cpus;  // ascending
};

constexpr std::uint64_t kForever = std::numeric_limits<std::uint64_t>::max();

// A fault holds for the calls and the time it names; without a code it only takes its time or
// makes a list grow.
struct Fault {
  OperationSet operations;
  std::vector<unsigned> gpus;  // empty: whatever the GPU
  nvmlReturn_t code = NVML_SUCCESS;
  std::uint64_t fromCall = 1;  // counted from 1, per process, operation and GPU
  std::uint64_t calls = kForever;
  Time after = 0;  // since the machine started
  Time duration = std::numeric_limits<Time>::max();
  double probability = 1;
  std::uint64_t seed = 0;
  Time latency = 0;
  unsigned grow = 0;  // entries that appear between asking a list's size and asking for the list
  bool keepsGrowing = false;  // instead, every call needs so many more than the one before
  bool isLoss = false;        // of GPUs that are off the bus
};

// Every call on the GPUs fails as on those that are off the bus.
inline Fault lossOf(std::vector<unsigned> gpus) {
  return {.operations = OperationSet().set(),
          .gpus = std::move(gpus),
          .code = NVML_ERROR_GPU_IS_LOST,
          .isLoss = true};
}

enum class DriverNodes : std::uint8_t { present, missing, unreadable };

struct Host {
  std::string description;
  TextSource driverVersion;
  TextSource libraryVersion;
  NumberSource cudaVersion;
  unsigned cpus = 0;  // online
  std::vector<NumaNode> numaNodes;
  std::uint64_t seed = 1;
  Time uptime = 3600 * kSecond;  // of the driver, when the machine starts
  DriverNodes driverNodes = DriverNodes::present;
  bool library = true;
  OperationSet missing;
  unsigned gpusPerBoard = 1;
  std::vector<Gpu> gpus;
  std::vector<VgpuType> vgpuTypes;
  std::vector<ProcessEntry> processes;
  std::vector<Fault> faults;
};

}  // namespace zansim
