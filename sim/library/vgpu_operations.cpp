// vGPU instances, types and samples.
#include "library/answer.h"

#include <cstring>

using namespace zansim;

namespace {

// Utilisation is sampled so often; a caller that has seen a sample waits for the next.
constexpr Time kSampleInterval = kSecond / 10;

// Microseconds.
unsigned long long lastSampleTime() {
  const Time now = wallNow();
  return static_cast<unsigned long long>((now - now % kSampleInterval) / 1000);
}

unsigned figure(const NumberSource& source, unsigned owner) {
  return static_cast<unsigned>(valueOf(source, owner));
}

void writeIds(const Call& call, const std::vector<unsigned>& ids, unsigned int* count,
              unsigned int* target) {
  expectSuccess(call.gpu->vgpu.code);
  writeList(call, ids.size(), count, target, [&](std::size_t i) { return ids[i]; });
}

struct InstanceAndProcess {
  const VgpuInstance* instance;
  const VgpuProcess* process;
};

nvmlVgpuProcessUtilizationSample_t processSample(const InstanceAndProcess& which,
                                                 unsigned long long time) {
  const VgpuProcess& process = *which.process;
  nvmlVgpuProcessUtilizationSample_t sample = {};
  sample.vgpuInstance = which.instance->id;
  sample.pid = process.pid;
  // A name of 64 bytes fills its field to the last byte.
  std::memcpy(sample.processName, process.name.data(),
              std::min(process.name.size(), sizeof sample.processName));
  sample.timeStamp = time;
  sample.smUtil = figure(process.utilization[0], which.instance->id);
  sample.memUtil = figure(process.utilization[1], which.instance->id);
  sample.encUtil = figure(process.utilization[2], which.instance->id);
  sample.decUtil = figure(process.utilization[3], which.instance->id);
  return sample;
}

nvmlVgpuInstanceUtilizationSample_t instanceSample(const VgpuInstance& instance,
                                                   unsigned long long time) {
  nvmlVgpuInstanceUtilizationSample_t sample = {};
  sample.vgpuInstance = instance.id;
  sample.timeStamp = time;
  sample.smUtil.uiVal = figure(instance.utilization[0], instance.id);
  sample.memUtil.uiVal = figure(instance.utilization[1], instance.id);
  sample.encUtil.uiVal = figure(instance.utilization[2], instance.id);
  sample.decUtil.uiVal = figure(instance.utilization[3], instance.id);
  return sample;
}

const VgpuType& typeOf(const Call& call, nvmlVgpuTypeId_t id) {
  const VgpuType* const type = call.machine.findType(id);
  if (type == nullptr) throw NVML_ERROR_INVALID_ARGUMENT;
  return *type;
}

// An operation on a vGPU type.
template <typename Answer>
nvmlReturn_t onType(Operation operation, nvmlVgpuTypeId_t id, TraceArguments given,
                    Answer answer) noexcept {
  return onMachine(operation, given, [&](const Call& call) { answer(typeOf(call, id)); });
}

}  // namespace

nvmlReturn_t nvmlDeviceGetActiveVgpus(nvmlDevice_t device, unsigned int* count,
                                      nvmlVgpuInstance_t* instances) {
  return onGpu(Operation::nvmlDeviceGetActiveVgpus, device, {device, count}, [&](const Call& call) {
    const Vgpu& vgpu = call.gpu->vgpu;
    expectSuccess(vgpu.code);
    writeList(call, vgpu.instances.size(), count, instances,
              [&](std::size_t i) { return vgpu.instances[i].id; });
  });
}

nvmlReturn_t nvmlDeviceGetSupportedVgpus(nvmlDevice_t device, unsigned int* count,
                                         nvmlVgpuTypeId_t* types) {
  return onGpu(Operation::nvmlDeviceGetSupportedVgpus, device, {device, count},
               [&](const Call& call) { writeIds(call, call.gpu->vgpu.supported, count, types); });
}

nvmlReturn_t nvmlDeviceGetCreatableVgpus(nvmlDevice_t device, unsigned int* count,
                                         nvmlVgpuTypeId_t* types) {
  return onGpu(Operation::nvmlDeviceGetCreatableVgpus, device, {device, count},
               [&](const Call& call) { writeIds(call, call.gpu->vgpu.creatable, count, types); });
}

nvmlReturn_t nvmlDeviceGetVgpuUtilization(nvmlDevice_t device, unsigned long long lastSeenTimeStamp,
                                          nvmlValueType_t* valueType, unsigned int* count,
                                          nvmlVgpuInstanceUtilizationSample_t* samples) {
  return onGpu(Operation::nvmlDeviceGetVgpuUtilization, device, {device, lastSeenTimeStamp, count},
               [&](const Call& call) {
                 const Vgpu& vgpu = call.gpu->vgpu;
                 required(valueType);
                 expectSuccess(vgpu.code);
                 const unsigned long long time = lastSampleTime();
                 std::vector<const VgpuInstance*> sampled;
                 for (const VgpuInstance& instance : vgpu.instances) {
                   if (instance.sample && time > lastSeenTimeStamp) sampled.push_back(&instance);
                 }
                 *valueType = NVML_VALUE_TYPE_UNSIGNED_INT;
                 writeList(call, sampled.size(), count, samples,
                           [&](std::size_t i) { return instanceSample(*sampled[i], time); });
               });
}

nvmlReturn_t nvmlDeviceGetVgpuProcessUtilization(nvmlDevice_t device,
                                                 unsigned long long lastSeenTimeStamp,
                                                 unsigned int* count,
                                                 nvmlVgpuProcessUtilizationSample_t* samples) {
  return onGpu(Operation::nvmlDeviceGetVgpuProcessUtilization, device,
               {device, lastSeenTimeStamp, count}, [&](const Call& call) {
                 const Vgpu& vgpu = call.gpu->vgpu;
                 expectSuccess(vgpu.code);
                 const unsigned long long time = lastSampleTime();
                 std::vector<InstanceAndProcess> sampled;
                 for (const VgpuInstance& instance : vgpu.instances) {
                   if (!instance.sample || time <= lastSeenTimeStamp) continue;
                   for (const VgpuProcess& process : instance.processes) {
                     sampled.push_back({&instance, &process});
                   }
                 }
                 writeList(call, sampled.size(), count, samples,
                           [&](std::size_t i) { return processSample(sampled[i], time); });
               });
}

#define ZANSIM_INSTANCE_TEXT(operation, member)                                    \
  nvmlReturn_t operation(nvmlVgpuInstance_t id, char* text, unsigned int length) { \
    return onInstance(Operation::operation, id, {id, length},                      \
                      [&](const Call&, const VgpuInstance& instance) {             \
                        writeText(instance.member, text, length);                  \
                      });                                                          \
  }

ZANSIM_INSTANCE_TEXT(nvmlVgpuInstanceGetUUID, uuid)
ZANSIM_INSTANCE_TEXT(nvmlVgpuInstanceGetMdevUUID, mdevUuid)
ZANSIM_INSTANCE_TEXT(nvmlVgpuInstanceGetVmDriverVersion, driverVersion)
ZANSIM_INSTANCE_TEXT(zanmlVgpuInstanceGetVmName, vmName)

nvmlReturn_t nvmlVgpuInstanceGetVmID(nvmlVgpuInstance_t id, char* vmId, unsigned int size,
                                     nvmlVgpuVmIdType_t* type) {
  return onInstance(Operation::nvmlVgpuInstanceGetVmID, id, {id, size},
                    [&](const Call&, const VgpuInstance& instance) {
                      required(type);
                      writeText(instance.vmUuid, vmId, size);
                      *type = NVML_VGPU_VM_ID_UUID;
                    });
}

nvmlReturn_t nvmlVgpuInstanceGetType(nvmlVgpuInstance_t id, nvmlVgpuTypeId_t* type) {
  return onInstance(
      Operation::nvmlVgpuInstanceGetType, id, {id},
      [&](const Call&, const VgpuInstance& instance) { required(type) = instance.type; });
}

nvmlReturn_t nvmlVgpuInstanceGetEccMode(nvmlVgpuInstance_t id, nvmlEnableState_t* mode) {
  return onInstance(Operation::nvmlVgpuInstanceGetEccMode, id, {id},
                    [&](const Call&, const VgpuInstance& instance) {
                      writeValue(valueOf(instance.ecc, instance.id), mode);
                    });
}

nvmlReturn_t nvmlVgpuInstanceGetGpuPciId(nvmlVgpuInstance_t id, char* text, unsigned int* length) {
  return onInstance(Operation::nvmlVgpuInstanceGetGpuPciId, id, {id, length},
                    [&](const Call& call, const VgpuInstance&) {
                      writeSizedText((*call.gpu)[Text("pci/bus_id")], text, length);
                    });
}

nvmlReturn_t nvmlVgpuInstanceGetFbUsage(nvmlVgpuInstance_t id, unsigned long long* bytes) {
  return onInstance(Operation::nvmlVgpuInstanceGetFbUsage, id, {id},
                    [&](const Call&, const VgpuInstance& instance) {
                      writeValue(valueOf(instance.framebufferUsed, instance.id), bytes);
                    });
}

nvmlReturn_t nvmlVgpuTypeGetName(nvmlVgpuTypeId_t id, char* text, unsigned int* size) {
  return onType(Operation::nvmlVgpuTypeGetName, id, {id, size},
                [&](const VgpuType& type) { writeSizedText(type.name, text, size); });
}

nvmlReturn_t nvmlVgpuTypeGetClass(nvmlVgpuTypeId_t id, char* text, unsigned int* size) {
  return onType(Operation::nvmlVgpuTypeGetClass, id, {id, size},
                [&](const VgpuType& type) { writeSizedText(type.typeClass, text, size); });
}

nvmlReturn_t nvmlVgpuTypeGetFramebufferSize(nvmlVgpuTypeId_t id, unsigned long long* bytes) {
  return onType(Operation::nvmlVgpuTypeGetFramebufferSize, id, {id}, [&](const VgpuType& type) {
    writeValue(valueOf(type.framebuffer, type.id), bytes);
  });
}

nvmlReturn_t nvmlVgpuTypeGetDeviceID(nvmlVgpuTypeId_t id, unsigned long long* deviceId,
                                     unsigned long long* subsystemId) {
  return onType(Operation::nvmlVgpuTypeGetDeviceID, id, {id}, [&](const VgpuType& type) {
    const std::uint64_t device = valueOf(type.deviceId, type.id);
    writeValue(valueOf(type.subsystemId, type.id), subsystemId);
    writeValue(device, deviceId);
  });
}

nvmlReturn_t nvmlVgpuTypeGetMaxInstances(nvmlDevice_t device, nvmlVgpuTypeId_t id,
                                         unsigned int* count) {
  return onGpu(Operation::nvmlVgpuTypeGetMaxInstances, device, {device, id}, [&](const Call& call) {
    writeValue(valueOf(typeOf(call, id).maxInstances, id), count);
  });
}
