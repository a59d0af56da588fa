// The operations that change a GPU, and those that read what they change.
#include "library/answer.h"

#include <algorithm>

#include <unistd.h>

using namespace zansim;

namespace {

// Only root changes a GPU.
void expectRoot() {
  if (geteuid() != 0) throw NVML_ERROR_NO_PERMISSION;
}

GpuState& stateOf(const Call& call) { return call.session.state()->gpus[call.index]; }

}  // namespace

nvmlReturn_t zanmlDeviceGetResetStatus(nvmlDevice_t device, int* status) {
  return onGpu(Operation::zanmlDeviceGetResetStatus, device, {device},
               [&](const Call& call) { required(status) = stateOf(call).resetStatus; });
}

nvmlReturn_t zanmlDeviceSetResetStatus(nvmlDevice_t device, int status) {
  return onGpu(Operation::zanmlDeviceSetResetStatus, device, {device, status},
               [&](const Call& call) {
                 expectRoot();
                 stateOf(call).resetStatus = status;
               });
}

nvmlReturn_t zanmlDeviceReset(nvmlDevice_t device) {
  return onGpu(Operation::zanmlDeviceReset, device, {device}, [&](const Call& call) {
    expectRoot();
    ++stateOf(call).resets;
    ++call.session.state()->resetCount;
  });
}

nvmlReturn_t zanmlDeviceGetCeMask(nvmlDevice_t device, unsigned int* mask,
                                  unsigned int* supportedMask) {
  return onGpu(Operation::zanmlDeviceGetCeMask, device, {device}, [&](const Call& call) {
    const std::uint64_t described = valueOf(call, Number("ce/mask"));
    const std::uint64_t set = stateOf(call).ceMask;
    required(mask);
    writeValue(valueOf(call, Number("ce/supported")), supportedMask);
    writeValue((set & kCeMaskIsSet) != 0 ? set : described, mask);
  });
}

nvmlReturn_t zanmlDeviceSetCeMask(nvmlDevice_t device, unsigned int mask) {
  return onGpu(Operation::zanmlDeviceSetCeMask, device, {device, mask}, [&](const Call& call) {
    expectRoot();
    if ((mask & ~valueOf(call, Number("ce/supported"))) != 0) throw NVML_ERROR_INVALID_ARGUMENT;
    stateOf(call).ceMask = mask | kCeMaskIsSet;
  });
}

nvmlReturn_t zanmlDeviceGetJpuUtilization(nvmlDevice_t device, zanmlJpuUtilization_t* utilization) {
  return onGpu(Operation::zanmlDeviceGetJpuUtilization, device, {device}, [&](const Call& call) {
    const Engines& jpu = call.gpu->jpu;
    required(utilization);
    expectSuccess(jpu.code);
    const Time now = wallNow();
    const Time origin = call.session.state()->origin;
    const Time loaded = origin - call.host().uptime;
    zanmlJpuUtilization_t filled = {};
    filled.count = static_cast<unsigned int>(jpu.busy.size());
    for (unsigned i = 0; i < jpu.busy.size(); ++i) {
      const double percentTime =
          jpu.busy[i].integral(loaded, now, call.index * kZanmlMaxEngines + i, origin);
      filled.busyTime[i] = static_cast<unsigned long long>(std::max(0.0, percentTime / 100));
    }
    *utilization = filled;
  });
}

nvmlReturn_t zanmlDeviceGetVpuUtilization(nvmlDevice_t device, zanmlVpuUtilization_t* utilization) {
  return onGpu(Operation::zanmlDeviceGetVpuUtilization, device, {device}, [&](const Call& call) {
    const Engines& vpu = call.gpu->vpu;
    required(utilization);
    expectSuccess(vpu.code);
    zanmlVpuUtilization_t filled = {};
    filled.count = static_cast<unsigned int>(vpu.busy.size());
    filled.total = vpu.total;
    for (unsigned i = 0; i < vpu.busy.size(); ++i) {
      writeValue(valueOf(vpu.busy[i], call.index * kZanmlMaxEngines + i), &filled.busy[i]);
    }
    *utilization = filled;
  });
}
