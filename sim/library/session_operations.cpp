// The operations on the library itself and on the machine as a whole.
#include "library/answer.h"
#include "machine/topology.h"

using namespace zansim;

nvmlReturn_t nvmlInit() {
  return tracedCall(Operation::nvmlInit, {}, [](Session& session) { return session.initialise(); });
}

nvmlReturn_t nvmlShutdown() {
  return tracedCall(Operation::nvmlShutdown, {},
                    [](Session& session) { return session.shutDown(); });
}

nvmlReturn_t nvmlDeviceGetCount_v2(unsigned int* count) {
  return onMachine(Operation::nvmlDeviceGetCount_v2, {}, [&](const Call& call) {
    if (count == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
    *count = call.machine.gpuCount();
    return NVML_SUCCESS;
  });
}

nvmlReturn_t nvmlDeviceGetHandleByIndex_v2(unsigned int index, nvmlDevice_t* device) {
  constexpr Operation kOperation = Operation::nvmlDeviceGetHandleByIndex_v2;
  return sessionCall(kOperation, {index}, [&](Session& session) {
    if (device == nullptr || index >= session.machine().gpuCount()) {
      return NVML_ERROR_INVALID_ARGUMENT;
    }
    return answerOn(session, kOperation, index, [&](const Call& call) {
      *device = call.session.handleOf(call.index);
      return NVML_SUCCESS;
    });
  });
}

nvmlReturn_t nvmlSystemGetDriverVersion(char* text, unsigned int length) {
  return onMachine(Operation::nvmlSystemGetDriverVersion, {length}, [&](const Call& call) {
    return writeText(call.host().driverVersion, text, length);
  });
}

nvmlReturn_t nvmlSystemGetNVMLVersion(char* text, unsigned int length) {
  return onMachine(Operation::nvmlSystemGetNVMLVersion, {length}, [&](const Call& call) {
    return writeText(call.host().libraryVersion, text, length);
  });
}

nvmlReturn_t nvmlSystemGetCudaDriverVersion_v2(int* version) {
  return onMachine(Operation::nvmlSystemGetCudaDriverVersion_v2, {}, [&](const Call& call) {
    return writeSource(call.host().cudaVersion, 0, version);
  });
}

nvmlReturn_t nvmlSystemGetTopologyGpuSet(unsigned int cpu, unsigned int* count,
                                         nvmlDevice_t* devices) {
  return onMachine(Operation::nvmlSystemGetTopologyGpuSet, {cpu, count}, [&](const Call& call) {
    const std::vector<unsigned> gpus = gpusNearCpu(call.host(), cpu);
    return writeList(call, gpus.size(), count, devices,
                     [&](std::size_t i) { return call.session.handleOf(gpus[i]); });
  });
}
