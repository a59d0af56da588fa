// The frame of every operation: it finds the GPU, lets the faults have their say, keeps exceptions
// in and writes the trace. The operations themselves only give the answer.
#pragma once

#include "machine/session.h"

#include <type_traits>

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

inline TraceArgument traced(nvmlDevice_t device) {
  return TraceArgument::gpu(Session::ofProcess().gpuOf(device));
}

template <typename Number>
requires(std::is_integral_v<Number> || std::is_enum_v<Number>) TraceArgument traced(Number number) {
  return TraceArgument::number(static_cast<unsigned long long>(number));
}

// What a list holds on entry is part of the question.
inline TraceArgument traced(const unsigned int* count) {
  return TraceArgument::number(count == nullptr ? 0 : *count);
}

template <typename Answer>
nvmlReturn_t guarded(Answer answer) noexcept {
  try {
    return answer();
  } catch (...) {
    return NVML_ERROR_UNKNOWN;
  }
}

template <typename Answer, typename... Inputs>
nvmlReturn_t tracedCall(Operation operation, Answer answer, Inputs... inputs) noexcept {
  return guarded([&] {
    const Trace& trace = Session::ofProcess().trace();
    if (!trace.isOn()) return guarded(answer);
    // Noted before the call, which may change them: a count, or the session behind a handle.
    const std::initializer_list<TraceArgument> arguments{traced(inputs)...};
    const nvmlReturn_t code = guarded(answer);
    trace.write(operation, arguments, code);
    return code;
  });
}

// An operation on the GPU `index`, whose handle or instance has been found.
template <typename Answer>
nvmlReturn_t answerOn(Session& session, Operation operation, unsigned index, Answer& answer) {
  const FaultOutcome outcome = session.befall(operation, index);
  if (outcome.code != NVML_SUCCESS) return outcome.code;
  const Machine& machine = session.machine();
  // An edited description may have fewer GPUs than there were.
  if (index >= machine.gpuCount()) return NVML_ERROR_GPU_IS_LOST;
  return answer(Call{session, machine, index, &machine.host().gpus[index], outcome});
}

template <typename Answer, typename... Inputs>
nvmlReturn_t onGpu(Operation operation, Answer answer, nvmlDevice_t device,
                   Inputs... inputs) noexcept {
  return tracedCall(
      operation,
      [&] {
        Session& session = Session::ofProcess();
        if (!session.isOpen()) return NVML_ERROR_UNINITIALIZED;
        session.refresh();
        const std::optional<unsigned> index = session.gpuOf(device);
        if (!index) return NVML_ERROR_INVALID_ARGUMENT;
        return answerOn(session, operation, *index, answer);
      },
      device, inputs...);
}

template <typename Answer, typename... Inputs>
nvmlReturn_t onMachine(Operation operation, Answer answer, Inputs... inputs) noexcept {
  return tracedCall(
      operation,
      [&] {
        Session& session = Session::ofProcess();
        if (!session.isOpen()) return NVML_ERROR_UNINITIALIZED;
        session.refresh();
        const FaultOutcome outcome = session.befall(operation, kNoGpu);
        if (outcome.code != NVML_SUCCESS) return outcome.code;
        return answer(Call{.session = session, .machine = session.machine(), .outcome = outcome});
      },
      inputs...);
}

// An operation on a vGPU instance; faults of its GPU are faults of it.
template <typename Answer, typename... Inputs>
nvmlReturn_t onInstance(Operation operation, Answer answer, nvmlVgpuInstance_t id,
                        Inputs... inputs) noexcept {
  return tracedCall(
      operation,
      [&] {
        Session& session = Session::ofProcess();
        if (!session.isOpen()) return NVML_ERROR_UNINITIALIZED;
        session.refresh();
        const InstancePlace* const place = session.machine().findInstance(id);
        if (place == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
        const auto answerFor = [&](const Call& call) { return answer(call, *place->instance); };
        return answerOn(session, operation, place->gpu, answerFor);
      },
      id, inputs...);
}

}  // namespace zansim
