// The operations on the library itself and on the machine as a whole.
#include "library/answer.h"
#include "machine/topology.h"

using namespace zansim;

nvmlReturn_t nvmlInit() {
  return tracedCall(Operation::nvmlInit, [] { return Session::ofProcess().initialise(); });
}

nvmlReturn_t nvmlShutdown() {
  return tracedCall(Operation::nvmlShutdown, [] { return Session::ofProcess().shutDown(); });
}

nvmlReturn_t nvmlDeviceGetCount_v2(unsigned int* count) {
  return onMachine(Operation::nvmlDeviceGetCount_v2, [&](const Call& call) {
    if (count == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
    *count = call.machine.gpuCount();
    return NVML_SUCCESS;
  });
}

nvmlReturn_t nvmlDeviceGetHandleByIndex_v2(unsigned int index, nvmlDevice_t* device) {
  constexpr Operation kOperation = Operation::nvmlDeviceGetHandleByIndex_v2;
  return tracedCall(
      kOperation,
      [&] {
        Session& session = Session::ofProcess();
        if (!session.isOpen()) return NVML_ERROR_UNINITIALIZED;
        session.refresh();
        if (device == nullptr || index >= session.machine().gpuCount()) {
          return NVML_ERROR_INVALID_ARGUMENT;
        }
        const auto answer = [&](const Call& call) {
          *device = call.session.handleOf(call.index);
          return NVML_SUCCESS;
        };
        return answerOn(session, kOperation, index, answer);
      },
      index);
}

nvmlReturn_t nvmlSystemGetDriverVersion(char* text, unsigned int length) {
  return onMachine(
      Operation::nvmlSystemGetDriverVersion,
      [&](const Call& call) { return writeText(call.host().driverVersion, text, length); }, length);
}

nvmlReturn_t nvmlSystemGetNVMLVersion(char* text, unsigned int length) {
  return onMachine(
      Operation::nvmlSystemGetNVMLVersion,
      [&](const Call& call) { return writeText(call.host().libraryVersion, text, length); },
      length);
}

nvmlReturn_t nvmlSystemGetCudaDriverVersion_v2(int* version) {
  return onMachine(Operation::nvmlSystemGetCudaDriverVersion_v2, [&](const Call& call) {
    if (version == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
    unsigned long long value = 0;
    const nvmlReturn_t code = readSource(call.host().cudaVersion, 0, value);
    if (code == NVML_SUCCESS) *version = static_cast<int>(value);
    return code;
  });
}

nvmlReturn_t nvmlSystemGetTopologyGpuSet(unsigned int cpu, unsigned int* count,
                                         nvmlDevice_t* devices) {
  return onMachine(
      Operation::nvmlSystemGetTopologyGpuSet,
      [&](const Call& call) {
        const std::vector<unsigned> gpus = gpusNearCpu(call.host(), cpu);
        return writeList(call, gpus.size(), count, devices,
                         [&](std::size_t i) { return call.session.handleOf(gpus[i]); });
      },
      cpu, count);
}
