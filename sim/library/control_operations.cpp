// The operations that change a GPU, and those that read what they change.
#include "library/answer.h"

#include <algorithm>

#include <unistd.h>

using namespace zansim;

namespace {

// Only root changes a GPU.
bool mayChange() { return geteuid() == 0; }

GpuState& stateOf(const Call& call) { return call.session.state()->gpus[call.index]; }

}  // namespace

nvmlReturn_t zanmlDeviceGetResetStatus(nvmlDevice_t device, int* status) {
  return onGpu(Operation::zanmlDeviceGetResetStatus, device, {device}, [&](const Call& call) {
    if (status == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
    *status = stateOf(call).resetStatus;
    return NVML_SUCCESS;
  });
}

nvmlReturn_t zanmlDeviceSetResetStatus(nvmlDevice_t device, int status) {
  return onGpu(Operation::zanmlDeviceSetResetStatus, device, {device, status},
               [&](const Call& call) {
                 if (!mayChange()) return NVML_ERROR_NO_PERMISSION;
                 stateOf(call).resetStatus = status;
                 return NVML_SUCCESS;
               });
}

nvmlReturn_t zanmlDeviceReset(nvmlDevice_t device) {
  return onGpu(Operation::zanmlDeviceReset, device, {device}, [&](const Call& call) {
    if (!mayChange()) return NVML_ERROR_NO_PERMISSION;
    ++stateOf(call).resets;
    ++call.session.state()->resetCount;
    return NVML_SUCCESS;
  });
}

nvmlReturn_t zanmlDeviceGetCeMask(nvmlDevice_t device, unsigned int* mask,
                                  unsigned int* supportedMask) {
  return onGpu(Operation::zanmlDeviceGetCeMask, device, {device}, [&](const Call& call) {
    if (mask == nullptr || supportedMask == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
    unsigned long long described = 0;
    unsigned long long supported = 0;
    const nvmlReturn_t code = readNumber(call, Number("ce/mask"), described);
    if (code != NVML_SUCCESS) return code;
    const nvmlReturn_t supportedCode = readNumber(call, Number("ce/supported"), supported);
    if (supportedCode != NVML_SUCCESS) return supportedCode;
    const std::uint64_t set = stateOf(call).ceMask;
    *mask = static_cast<unsigned int>((set & kCeMaskIsSet) != 0 ? set : described);
    *supportedMask = static_cast<unsigned int>(supported);
    return NVML_SUCCESS;
  });
}

nvmlReturn_t zanmlDeviceSetCeMask(nvmlDevice_t device, unsigned int mask) {
  return onGpu(Operation::zanmlDeviceSetCeMask, device, {device, mask}, [&](const Call& call) {
    if (!mayChange()) return NVML_ERROR_NO_PERMISSION;
    unsigned long long supported = 0;
    const nvmlReturn_t code = readNumber(call, Number("ce/supported"), supported);
    if (code != NVML_SUCCESS) return code;
    if ((mask & ~supported) != 0) return NVML_ERROR_INVALID_ARGUMENT;
    stateOf(call).ceMask = mask | kCeMaskIsSet;
    return NVML_SUCCESS;
  });
}

nvmlReturn_t zanmlDeviceGetJpuUtilization(nvmlDevice_t device, zanmlJpuUtilization_t* utilization) {
  return onGpu(Operation::zanmlDeviceGetJpuUtilization, device, {device}, [&](const Call& call) {
    const Engines& jpu = call.gpu->jpu;
    if (utilization == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
    if (jpu.code != NVML_SUCCESS) return jpu.code;
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
    return NVML_SUCCESS;
  });
}

nvmlReturn_t zanmlDeviceGetVpuUtilization(nvmlDevice_t device, zanmlVpuUtilization_t* utilization) {
  return onGpu(Operation::zanmlDeviceGetVpuUtilization, device, {device}, [&](const Call& call) {
    const Engines& vpu = call.gpu->vpu;
    if (utilization == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
    if (vpu.code != NVML_SUCCESS) return vpu.code;
    zanmlVpuUtilization_t filled = {};
    filled.count = static_cast<unsigned int>(vpu.busy.size());
    filled.total = vpu.total;
    for (unsigned i = 0; i < vpu.busy.size(); ++i) {
      unsigned long long busy = 0;
      const nvmlReturn_t code = readSource(vpu.busy[i], call.index * kZanmlMaxEngines + i, busy);
      if (code != NVML_SUCCESS) return code;
      filled.busy[i] = static_cast<unsigned int>(busy);
    }
    *utilization = filled;
    return NVML_SUCCESS;
  });
}
