/* A management library that answers at once with constants, whatever it is asked: what a command
 * costs beside it is the command's own.
 *
 *   CONSTANT_GPUS    how many GPUs there are, each a board of its own; 1 without it
 *   CONSTANT_CALLS   a file that every call is written to at the end, as "GPU CALL": the GPU's
 *                    index, "-" where the call is on none, and the call as `floor` takes it
 *
 * The structures of results are filled as far as their sizes go; see src/zanml/zanml.h for what
 * stands where. */
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kMostGpus = 4096, kSuccess = 0, kNotFound = 6 };

typedef void* Device; /* the GPU's index and 1 */

static unsigned gpus = 1;
static FILE* calls;

__attribute__((constructor)) static void prepare(void) {
  const char* const count = getenv("CONSTANT_GPUS");
  const char* const file = getenv("CONSTANT_CALLS");
  if (count != NULL) gpus = (unsigned)strtoul(count, NULL, 10);
  if (gpus > kMostGpus) gpus = kMostGpus;
  if (file != NULL) calls = fopen(file, "w");
}

__attribute__((destructor)) static void finish(void) {
  if (calls != NULL) fclose(calls);
}

static unsigned indexOf(Device device) { return (unsigned)(uintptr_t)device - 1; }

/* `call` in the form of printf. */
__attribute__((format(printf, 2, 3), cold)) static void writeCall(Device device, const char* call,
                                                                  ...) {
  va_list arguments;
  if (device == NULL) {
    fputs("- ", calls);
  } else {
    fprintf(calls, "%u ", indexOf(device));
  }
  va_start(arguments, call);
  vfprintf(calls, call, arguments);
  va_end(arguments);
  fputc('\n', calls);
}
#define note(...) (calls == NULL ? (void)0 : writeCall(__VA_ARGS__))

static inline int answerText(char* text, unsigned size, const char* answer) {
  const size_t length = strlen(answer) + 1;
  if (length > size) return 7;
  memcpy(text, answer, length);
  return kSuccess;
}

/* The shapes of operations, one macro each. The letter behind an operation's name in the log is the
 * shape; floor.c makes the same calls from it. */
#define EXPORT __attribute__((visibility("default")))

/* (text, size) */
#define SYSTEM_TEXT(name, answer)              \
  EXPORT int name(char* text, unsigned size) { \
    note(NULL, #name ":s%u", size);            \
    return answerText(text, size, answer);     \
  }
/* (device, text, size) */
#define TEXT(name, answer)                                    \
  EXPORT int name(Device device, char* text, unsigned size) { \
    note(device, #name ":t%u", size);                         \
    return answerText(text, size, answer);                    \
  }
/* (device, result) */
#define VALUE(name, answer)                          \
  EXPORT int name(Device device, unsigned* result) { \
    note(device, #name ":v");                        \
    *result = answer;                                \
    return kSuccess;                                 \
  }
/* (device, 64-bit result) */
#define LONG_VALUE(name, answer)                               \
  EXPORT int name(Device device, unsigned long long* result) { \
    note(device, #name ":v");                                  \
    *result = answer;                                          \
    return kSuccess;                                           \
  }
/* (device, result, result) */
#define PAIR(name, first, second)                                  \
  EXPORT int name(Device device, unsigned* one, unsigned* other) { \
    note(device, #name ":p");                                      \
    *one = first;                                                  \
    *other = second;                                               \
    return kSuccess;                                               \
  }
/* (device, choice, result) */
#define CHOICE(name, answer)                                     \
  EXPORT int name(Device device, int choice, unsigned* result) { \
    note(device, #name ":c%d", choice);                          \
    *result = answer;                                            \
    return kSuccess;                                             \
  }
/* (device, count, entries): nothing */
#define EMPTY_LIST(name)                                           \
  EXPORT int name(Device device, unsigned* count, void* entries) { \
    (void)entries;                                                 \
    note(device, #name ":l%u", *count);                            \
    *count = 0;                                                    \
    return kSuccess;                                               \
  }
/* What the measured commands do not call: (handle or id, ...), not supported. */
#define ABSENT(name)                                                  \
  EXPORT int name(void* handle, void* a, void* b, void* c, void* d) { \
    (void)handle, (void)a, (void)b, (void)c, (void)d;                 \
    note(NULL, #name ":?");                                           \
    return kNotFound;                                                 \
  }

EXPORT int nvmlInit(void) {
  note(NULL, "nvmlInit");
  return kSuccess;
}
EXPORT int nvmlShutdown(void) {
  note(NULL, "nvmlShutdown");
  return kSuccess;
}
EXPORT int nvmlDeviceGetCount_v2(unsigned* count) {
  note(NULL, "nvmlDeviceGetCount_v2");
  *count = gpus;
  return kSuccess;
}
EXPORT int nvmlDeviceGetHandleByIndex_v2(unsigned index, Device* device) {
  note(NULL, "nvmlDeviceGetHandleByIndex_v2");
  *device = (Device)(uintptr_t)(index + 1);
  return index < gpus ? kSuccess : 2;
}
SYSTEM_TEXT(nvmlSystemGetDriverVersion, "1.8.2")
SYSTEM_TEXT(nvmlSystemGetNVMLVersion, "1.8.2")
EXPORT int nvmlSystemGetCudaDriverVersion_v2(int* version) {
  note(NULL, "nvmlSystemGetCudaDriverVersion_v2:n");
  *version = 11040;
  return kSuccess;
}

TEXT(nvmlDeviceGetName, "Zanthe KV100-32G")
TEXT(nvmlDeviceGetSerial, "12345678901234")
TEXT(nvmlDeviceGetUUID, "GPU-5775264a-9a7e-1b09-7095-beebd76575e4")
TEXT(nvmlDeviceGetBoardPartNumber, "ZT-100-32")
VALUE(nvmlDeviceGetIndex, indexOf(device))
VALUE(nvmlDeviceGetMinorNumber, indexOf(device))
VALUE(nvmlDeviceGetBoardId, 0x100 + indexOf(device))
VALUE(nvmlDeviceGetMultiGpuBoard, 0)
VALUE(nvmlDeviceGetFanSpeed, 42)
VALUE(nvmlDeviceGetPowerUsage, 187)
VALUE(nvmlDeviceGetEnforcedPowerLimit, 250)
VALUE(nvmlDeviceGetPowerManagementLimit, 250)
VALUE(nvmlDeviceGetCurrPcieLinkGeneration, 4)
VALUE(nvmlDeviceGetCurrPcieLinkWidth, 16)
VALUE(nvmlDeviceGetMaxPcieLinkGeneration, 4)
VALUE(nvmlDeviceGetMaxPcieLinkWidth, 16)
EXPORT int nvmlDeviceGetPciInfo(Device device, void* result) {
  struct {
    char legacyBusId[16];
    unsigned domain, bus, device, deviceId, subSystemId;
    char busId[32];
  } const answer = {
      "0000:17:00.0",    0, 0x17 + (indexOf(device) & 0x3F), 0, 0x1B382000, 0x11AA2000,
      "00000000:17:00.0"};
  note(device, "nvmlDeviceGetPciInfo:v");
  memcpy(result, &answer, sizeof answer);
  return kSuccess;
}
PAIR(nvmlDeviceGetCudaComputeCapability, 8, 0)
VALUE(nvmlDeviceGetComputeMode, 0)
VALUE(nvmlDeviceGetPerformanceState, 0)
VALUE(nvmlDeviceGetVirtualizationMode, 0)
VALUE(nvmlDeviceGetHostVgpuMode, 0)
PAIR(nvmlDeviceGetEccMode, 1, 1)
CHOICE(nvmlDeviceGetTemperature, 61)
CHOICE(nvmlDeviceGetTemperatureThreshold, 95)
EXPORT int nvmlDeviceGetClock(Device device, int type, int clock, unsigned* result) {
  note(device, "nvmlDeviceGetClock:k%d", type);
  *result = 1410;
  return clock == 0 ? kSuccess : 2;
}
CHOICE(nvmlDeviceGetClockInfo, 1410)
CHOICE(nvmlDeviceGetMaxClockInfo, 1500)
CHOICE(nvmlDeviceGetPcieThroughput, 123456)
EXPORT int nvmlDeviceGetUtilizationRates(Device device, unsigned result[2]) {
  note(device, "nvmlDeviceGetUtilizationRates:v");
  result[0] = 87, result[1] = 43;
  return kSuccess;
}
PAIR(nvmlDeviceGetEncoderUtilization, 12, 0)
PAIR(nvmlDeviceGetDecoderUtilization, 7, 0)
EXPORT int nvmlDeviceGetMemoryInfo(Device device, unsigned long long result[3]) {
  note(device, "nvmlDeviceGetMemoryInfo:v");
  result[0] = 32ULL << 30, result[1] = 20ULL << 30, result[2] = 12ULL << 30;
  return kSuccess;
}
EXPORT int nvmlDeviceGetViolationStatus(Device device, int policy, unsigned long long result[2]) {
  note(device, "nvmlDeviceGetViolationStatus:c%d", policy);
  result[0] = 0, result[1] = 123456789;
  return kSuccess;
}
LONG_VALUE(nvmlDeviceGetCurrentClocksThrottleReasons, 0)
ABSENT(nvmlDeviceGetCpuAffinityWithinScope)
ABSENT(nvmlDeviceGetMemoryAffinity)
EXPORT int nvmlDeviceGetRetiredPages(Device device, int cause, unsigned* count, void* addresses) {
  (void)addresses;
  note(device, "nvmlDeviceGetRetiredPages:r%d", cause);
  *count = 0;
  return kSuccess;
}
EMPTY_LIST(nvmlDeviceGetComputeRunningProcesses)
ABSENT(nvmlDeviceGetTopologyNearestGpus)
ABSENT(nvmlSystemGetTopologyGpuSet)
EMPTY_LIST(nvmlDeviceGetActiveVgpus)
EMPTY_LIST(nvmlDeviceGetSupportedVgpus)
EMPTY_LIST(nvmlDeviceGetCreatableVgpus)
ABSENT(nvmlDeviceGetVgpuUtilization)
ABSENT(nvmlDeviceGetVgpuProcessUtilization)
ABSENT(nvmlDeviceGetTopologyCommonAncestor)
ABSENT(nvmlDeviceGetP2PStatus)

VALUE(zanmlDeviceGetBoardPosition, 0)
VALUE(zanmlDeviceGetBoardPowerUsage, 210)
VALUE(zanmlDeviceGetBoardPowerLimit, 300)
VALUE(zanmlDeviceGetGpuSn, 0x12345678)
VALUE(zanmlDeviceGetBoardTemperature, 48)
LONG_VALUE(zanmlDeviceGetBoardSn, 0x12345678901234)
TEXT(zanmlDeviceGetFirmwareVersion, "2.4.1")
TEXT(zanmlDeviceGetHardwareVersion, "B1")
TEXT(zanmlDeviceGetBoardPn, "ZT-100-32")
TEXT(zanmlDeviceGetManufactureDate, "2025-11-03")
PAIR(zanmlDeviceGetGPUVoltage, 0, 85)
PAIR(zanmlDeviceGetVddVoltage, 12, 1)
PAIR(zanmlDeviceGetMemVoltage, 1, 35)
PAIR(zanmlDeviceGetCeMask, 0x0F, 0xFF)
ABSENT(zanmlDeviceSetCeMask)
ABSENT(zanmlDeviceGetJpuUtilization)
ABSENT(zanmlDeviceGetVpuUtilization)
EMPTY_LIST(zanmlDeviceGetComputeAllProcesses)
VALUE(zanmlDeviceGetResetStatus, 0)
ABSENT(zanmlDeviceSetResetStatus)
ABSENT(zanmlDeviceReset)
EXPORT int getDeviceVgpuPids(Device device, unsigned pids[32]) {
  note(device, "getDeviceVgpuPids:v");
  memset(pids, 0, 32 * sizeof *pids);
  return kSuccess;
}
ABSENT(nvmlVgpuInstanceGetVmID)
ABSENT(nvmlVgpuInstanceGetUUID)
ABSENT(nvmlVgpuInstanceGetMdevUUID)
ABSENT(nvmlVgpuInstanceGetVmDriverVersion)
ABSENT(nvmlVgpuInstanceGetType)
ABSENT(nvmlVgpuInstanceGetEccMode)
ABSENT(nvmlVgpuInstanceGetGpuPciId)
ABSENT(nvmlVgpuInstanceGetFbUsage)
ABSENT(zanmlVgpuInstanceGetVmName)
ABSENT(nvmlVgpuTypeGetName)
ABSENT(nvmlVgpuTypeGetClass)
ABSENT(nvmlVgpuTypeGetFramebufferSize)
ABSENT(nvmlVgpuTypeGetDeviceID)
ABSENT(nvmlVgpuTypeGetMaxInstances)
