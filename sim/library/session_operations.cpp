// The operations on the library itself and on the machine as a whole.
#include "library/answer.h"

using namespace zansim;

nvmlReturn_t nvmlInit() {
  return tracedCall(Operation::nvmlInit, {},
                    [](Session& session) { expectSuccess(session.initialise()); });
}

nvmlReturn_t nvmlShutdown() {
  return tracedCall(Operation::nvmlShutdown, {},
                    [](Session& session) { expectSuccess(session.shutDown()); });
}

nvmlReturn_t nvmlDeviceGetCount_v2(unsigned int* count) {
  return onMachine(Operation::nvmlDeviceGetCount_v2, {},
                   [&](const Call& call) { writeValue(call.machine.gpuCount(), count); });
}

nvmlReturn_t nvmlDeviceGetHandleByIndex_v2(unsigned int index, nvmlDevice_t* device) {
  constexpr Operation kOperation = Operation::nvmlDeviceGetHandleByIndex_v2;
  return sessionCall(kOperation, {index}, [&](Session& session) {
    if (device == nullptr || index >= session.machine().gpuCount()) {
      throw NVML_ERROR_INVALID_ARGUMENT;
    }
    answerOn(session, kOperation, index,
             [&](const Call& call) { *device = call.session.handleOf(call.index); });
  });
}

nvmlReturn_t nvmlSystemGetDriverVersion(char* text, unsigned int length) {
  return onMachine(Operation::nvmlSystemGetDriverVersion, {length},
                   [&](const Call& call) { writeText(call.host().driverVersion, text, length); });
}

nvmlReturn_t nvmlSystemGetNVMLVersion(char* text, unsigned int length) {
  return onMachine(Operation::nvmlSystemGetNVMLVersion, {length},
                   [&](const Call& call) { writeText(call.host().libraryVersion, text, length); });
}

nvmlReturn_t nvmlSystemGetCudaDriverVersion_v2(int* version) {
  return onMachine(Operation::nvmlSystemGetCudaDriverVersion_v2, {}, [&](const Call& call) {
    writeValue(valueOf(call.host().cudaVersion, 0), version);
  });
}
