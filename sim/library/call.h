// The frame of every operation: it finds the GPU, lets the faults have their say, keeps exceptions
// in and writes the trace. The operations themselves only give the answer.
#pragma once

#include "machine/session.h"

namespace zansim {

// What an operation's answer may need.
struct Call {
  Session& session;
  const Machine& machine;
  unsigned index = 0;        // of the GPU
  const Gpu* gpu = nullptr;  // null for an operation that is on no GPU
  FaultOutcome outcome = {};

  const Host& host() const { return machine.host(); }
};

// An answer is given by writing to the caller's memory; whatever keeps it from being given is
// thrown as a return code.
inline void expectSuccess(nvmlReturn_t code) {
  if (code != NVML_SUCCESS) throw code;
}

template <typename Answer>
nvmlReturn_t guarded(Answer answer) noexcept {
  try {
    answer();
    return NVML_SUCCESS;
  } catch (const nvmlReturn_t& code) {
    return code;
  } catch (...) {
    return NVML_ERROR_UNKNOWN;
  }
}

template <typename Answer>
nvmlReturn_t tracedCall(Operation operation, TraceArguments given, Answer answer) noexcept {
  return guarded([&] {
    Session& session = Session::ofProcess();
    const nvmlReturn_t code = guarded([&] { answer(session); });
    if (!session.tracePath().empty()) writeTrace(session.tracePath(), operation, given, code);
    expectSuccess(code);
  });
}

// The same within an open session, which has taken notice of a changed description.
template <typename Answer>
nvmlReturn_t sessionCall(Operation operation, TraceArguments given, Answer answer) noexcept {
  return tracedCall(operation, given, [&](Session& session) {
    if (!session.isOpen()) throw NVML_ERROR_UNINITIALIZED;
    session.refresh();
    answer(session);
  });
}

// An operation on the GPU `index`, whose handle or instance has been found.
template <typename Answer>
void answerOn(Session& session, Operation operation, unsigned index, Answer answer) {
  const FaultOutcome outcome = session.befall(operation, index);
  expectSuccess(outcome.code);
  const Machine& machine = session.machine();
  // An edited description may have fewer GPUs than there were.
  if (index >= machine.gpuCount()) throw NVML_ERROR_GPU_IS_LOST;
  answer(Call{session, machine, index, &machine.host().gpus[index], outcome});
}

template <typename Answer>
nvmlReturn_t onGpu(Operation operation, nvmlDevice_t device, TraceArguments given,
                   Answer answer) noexcept {
  return sessionCall(operation, given, [&](Session& session) {
    const std::optional<unsigned> index = session.gpuOf(device);
    if (!index) throw NVML_ERROR_INVALID_ARGUMENT;
    answerOn(session, operation, *index, answer);
  });
}

template <typename Answer>
nvmlReturn_t onMachine(Operation operation, TraceArguments given, Answer answer) noexcept {
  return sessionCall(operation, given, [&](Session& session) {
    const FaultOutcome outcome = session.befall(operation, kNoGpu);
    expectSuccess(outcome.code);
    answer(Call{.session = session, .machine = session.machine(), .outcome = outcome});
  });
}

// An operation on a vGPU instance; faults of its GPU are faults of it.
template <typename Answer>
nvmlReturn_t onInstance(Operation operation, nvmlVgpuInstance_t id, TraceArguments given,
                        Answer answer) noexcept {
  return sessionCall(operation, given, [&](Session& session) {
    const InstancePlace* const place = session.machine().findInstance(id);
    if (place == nullptr) throw NVML_ERROR_INVALID_ARGUMENT;
    answerOn(session, operation, place->gpu,
             [&](const Call& call) { answer(call, *place->instance); });
  });
}

}  // namespace zansim
