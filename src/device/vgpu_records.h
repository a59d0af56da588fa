// What the vGPU readers return. A text the library did not supply is "N/A", a number is 0.
#pragma once

#include <cstdint>
#include <string>

namespace zanctl {

// One vGPU on the current GPU.
struct VgpuInstance {
  std::uint32_t id;
  std::string vmUuid;
  std::string vmName;
  std::string typeName;
  std::string uuid;
  std::string mdevUuid;
  std::string guestDriverVersion;
  std::uint32_t eccMode;  // nvmlEnableState_t
  std::string busId;
  std::uint64_t memoryTotal;  // MiB
  std::uint64_t memoryUsed;   // MiB
  std::uint64_t memoryFree;   // MiB; 0 when more than the total is used
};

struct VgpuUtilization {
  std::uint32_t sm;       // percent
  std::uint32_t memory;   // percent
  std::uint32_t encoder;  // percent
  std::uint32_t decoder;  // percent
};

struct VgpuSample {
  std::uint32_t instanceId;
  VgpuUtilization utilization;
};

// Of a process inside a vGPU's virtual machine.
struct VgpuProcessSample {
  std::uint32_t instanceId;
  std::uint32_t pid;
  std::string name;
  VgpuUtilization utilization;
};

struct VgpuType {
  std::uint32_t id;
  std::string name;
  std::string typeClass;
  std::uint32_t maxInstances;
  std::uint64_t deviceId;
  std::uint64_t subsystemId;
};

}  // namespace zanctl
