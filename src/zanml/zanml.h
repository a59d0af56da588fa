// The C interface of the GPU management library, libzanml.so.
//
// Types, enumerations and prototypes as the library exports them on 64-bit Linux. The tool never
// links the library: the prototypes give `Library` (library.h) the type of each operation, and the
// simulated library defines them. Every operation returns an nvmlReturn_t, 0 being success, and
// writes its results through pointers; a text argument is a buffer followed by its size in bytes.
#pragma once

#include <cstddef>

extern "C" {

// NOLINTBEGIN(readability-identifier-naming): the names are the library's.

using nvmlDevice_t = struct nvmlDevice_st*;
using nvmlVgpuInstance_t = unsigned int;
using nvmlVgpuTypeId_t = unsigned int;

enum nvmlReturn_t : int {
  NVML_SUCCESS = 0,
  NVML_ERROR_UNINITIALIZED = 1,
  NVML_ERROR_INVALID_ARGUMENT = 2,
  NVML_ERROR_NOT_SUPPORTED = 3,
  NVML_ERROR_NO_PERMISSION = 4,
  NVML_ERROR_ALREADY_INITIALIZED = 5,
  NVML_ERROR_NOT_FOUND = 6,
  NVML_ERROR_INSUFFICIENT_SIZE = 7,
  NVML_ERROR_INSUFFICIENT_POWER = 8,
  NVML_ERROR_DRIVER_NOT_LOADED = 9,
  NVML_ERROR_TIMEOUT = 10,
  NVML_ERROR_IRQ_ISSUE = 11,
  NVML_ERROR_LIBRARY_NOT_FOUND = 12,
  NVML_ERROR_FUNCTION_NOT_FOUND = 13,
  NVML_ERROR_CORRUPTED_INFOROM = 14,
  NVML_ERROR_GPU_IS_LOST = 15,
  NVML_ERROR_RESET_REQUIRED = 16,
  NVML_ERROR_OPERATING_SYSTEM = 17,
  NVML_ERROR_LIB_RM_VERSION_MISMATCH = 18,
  NVML_ERROR_IN_USE = 19,
  NVML_ERROR_MEMORY = 20,
  NVML_ERROR_NO_DATA = 21,
  NVML_ERROR_UNKNOWN = 999,
};

enum nvmlTemperatureSensors_t : int { NVML_TEMPERATURE_GPU = 0 };

enum nvmlTemperatureThresholds_t : int {
  NVML_TEMPERATURE_THRESHOLD_SHUTDOWN = 0,
  NVML_TEMPERATURE_THRESHOLD_SLOWDOWN = 1,
  NVML_TEMPERATURE_THRESHOLD_MEM_MAX = 2,
  NVML_TEMPERATURE_THRESHOLD_GPU_MAX = 3,
};

enum nvmlClockType_t : int {
  NVML_CLOCK_GRAPHICS = 0,
  NVML_CLOCK_SM = 1,
  NVML_CLOCK_MEM = 2,
  NVML_CLOCK_VIDEO = 3,
};

enum nvmlClockId_t : int { NVML_CLOCK_ID_CURRENT = 0 };

enum nvmlPcieUtilCounter_t : int {
  NVML_PCIE_UTIL_TX_BYTES = 0,
  NVML_PCIE_UTIL_RX_BYTES = 1,
};

enum nvmlComputeMode_t : int {
  NVML_COMPUTEMODE_DEFAULT = 0,
  NVML_COMPUTEMODE_EXCLUSIVE_THREAD = 1,
  NVML_COMPUTEMODE_PROHIBITED = 2,
  NVML_COMPUTEMODE_EXCLUSIVE_PROCESS = 3,
};

// States 0 (fastest) to 15 (slowest).
enum nvmlPstates_t : int {
  NVML_PSTATE_0 = 0,
  NVML_PSTATE_15 = 15,
  NVML_PSTATE_UNKNOWN = 32,
};

enum nvmlEnableState_t : int { NVML_FEATURE_DISABLED = 0, NVML_FEATURE_ENABLED = 1 };

enum nvmlPageRetirementCause_t : int {
  NVML_PAGE_RETIREMENT_CAUSE_MULTIPLE_SINGLE_BIT_ECC_ERRORS = 0,
  NVML_PAGE_RETIREMENT_CAUSE_DOUBLE_BIT_ECC_ERROR = 1,
};

enum nvmlGpuVirtualizationMode_t : int {
  NVML_GPU_VIRTUALIZATION_MODE_NONE = 0,
  NVML_GPU_VIRTUALIZATION_MODE_PASSTHROUGH = 1,
  NVML_GPU_VIRTUALIZATION_MODE_VGPU = 2,
  NVML_GPU_VIRTUALIZATION_MODE_HOST_VGPU = 3,
  NVML_GPU_VIRTUALIZATION_MODE_HOST_VSGA = 4,
};

enum nvmlHostVgpuMode_t : int {
  NVML_HOST_VGPU_MODE_NON_SRIOV = 0,
  NVML_HOST_VGPU_MODE_SRIOV = 1,
};

enum nvmlPerfPolicyType_t : int {
  NVML_PERF_POLICY_POWER = 0,
  NVML_PERF_POLICY_THERMAL = 1,
};

enum nvmlGpuTopologyLevel_t : int {
  NVML_TOPOLOGY_INTERNAL = 0,
  NVML_TOPOLOGY_SINGLE = 10,
  NVML_TOPOLOGY_MULTIPLE = 20,
  NVML_TOPOLOGY_HOSTBRIDGE = 30,
  NVML_TOPOLOGY_NODE = 40,
  NVML_TOPOLOGY_SYSTEM = 50,
};

enum nvmlGpuP2PCapsIndex_t : int {
  NVML_P2P_CAPS_INDEX_READ = 0,
  NVML_P2P_CAPS_INDEX_WRITE = 1,
};

enum nvmlGpuP2PStatus_t : int {
  NVML_P2P_STATUS_OK = 0,
  NVML_P2P_STATUS_CHIPSET_NOT_SUPPORTED = 1,
  NVML_P2P_STATUS_GPU_NOT_SUPPORTED = 2,
  NVML_P2P_STATUS_TOPOLOGY_NOT_SUPPORTED = 3,
  NVML_P2P_STATUS_DISABLED = 4,
  NVML_P2P_STATUS_NOT_SUPPORTED = 5,
  NVML_P2P_STATUS_UNKNOWN = 6,
};

enum nvmlAffinityScope_t : int {
  NVML_AFFINITY_SCOPE_NODE = 0,
  NVML_AFFINITY_SCOPE_SOCKET = 1,
};

enum nvmlValueType_t : int {
  NVML_VALUE_TYPE_DOUBLE = 0,
  NVML_VALUE_TYPE_UNSIGNED_INT = 1,
  NVML_VALUE_TYPE_UNSIGNED_LONG = 2,
  NVML_VALUE_TYPE_UNSIGNED_LONG_LONG = 3,
  NVML_VALUE_TYPE_SIGNED_LONG_LONG = 4,
};

enum nvmlVgpuVmIdType_t : int {
  NVML_VGPU_VM_ID_DOMAIN_ID = 0,
  NVML_VGPU_VM_ID_UUID = 1,
};

// Buffer sizes in bytes, terminating NUL included.
constexpr unsigned int kZanmlVmTextSize = 80;
constexpr unsigned int kZanmlVgpuTypeTextSize = 64;
// Entries of the fixed arrays.
constexpr unsigned int kZanmlMaxEngines = 32;
constexpr unsigned int kZanmlMaxVgpuPids = 32;

struct nvmlPciInfo_t {
  char busIdLegacy[16];
  unsigned int domain;
  unsigned int bus;
  unsigned int device;
  unsigned int pciDeviceId;     // device id in the upper, vendor id in the lower 16 bits
  unsigned int pciSubSystemId;  // likewise
  char busId[32];
};

// Percent.
struct nvmlUtilization_t {
  unsigned int gpu;
  unsigned int memory;
};

// Bytes.
struct nvmlMemory_t {
  unsigned long long total;
  unsigned long long free;
  unsigned long long used;
};

struct nvmlProcessInfo_t {
  unsigned int pid;
  unsigned long long usedGpuMemory;  // bytes
};

// Nanoseconds.
struct nvmlViolationTime_t {
  unsigned long long referenceTime;
  unsigned long long violationTime;
};

union nvmlValue_t {
  double dVal;
  unsigned int uiVal;
  unsigned long ulVal;
  unsigned long long ullVal;
  signed long long sllVal;
};

struct nvmlVgpuInstanceUtilizationSample_t {
  nvmlVgpuInstance_t vgpuInstance;
  unsigned long long timeStamp;
  nvmlValue_t smUtil;
  nvmlValue_t memUtil;
  nvmlValue_t encUtil;
  nvmlValue_t decUtil;
};

struct nvmlVgpuProcessUtilizationSample_t {
  nvmlVgpuInstance_t vgpuInstance;
  unsigned int pid;
  char processName[64];
  unsigned long long timeStamp;
  unsigned int smUtil;
  unsigned int memUtil;
  unsigned int encUtil;
  unsigned int decUtil;
};

struct zanmlJpuUtilization_t {
  unsigned int count;                             // engines
  unsigned long long busyTime[kZanmlMaxEngines];  // nanoseconds since the driver was loaded
};

struct zanmlVpuUtilization_t {
  unsigned int count;  // engines
  unsigned int total;  // what a wholly busy engine reads
  unsigned int reserved;
  unsigned int busy[kZanmlMaxEngines];
};

// Session and system. nvmlInit and nvmlShutdown are counted; a handle is valid until the last
// shutdown.
nvmlReturn_t nvmlInit();
nvmlReturn_t nvmlShutdown();
nvmlReturn_t nvmlDeviceGetCount_v2(unsigned int* count);
nvmlReturn_t nvmlDeviceGetHandleByIndex_v2(unsigned int index, nvmlDevice_t* device);
nvmlReturn_t nvmlSystemGetDriverVersion(char* text, unsigned int length);
nvmlReturn_t nvmlSystemGetNVMLVersion(char* text, unsigned int length);
nvmlReturn_t nvmlSystemGetCudaDriverVersion_v2(int* version);  // 1000 x major + 10 x minor

// Attributes of one GPU.
nvmlReturn_t nvmlDeviceGetName(nvmlDevice_t, char* text, unsigned int length);
nvmlReturn_t nvmlDeviceGetSerial(nvmlDevice_t, char* text, unsigned int length);
nvmlReturn_t nvmlDeviceGetUUID(nvmlDevice_t, char* text, unsigned int length);
nvmlReturn_t nvmlDeviceGetBoardPartNumber(nvmlDevice_t, char* text, unsigned int length);
nvmlReturn_t nvmlDeviceGetIndex(nvmlDevice_t, unsigned int* index);
nvmlReturn_t nvmlDeviceGetMinorNumber(nvmlDevice_t, unsigned int* minor);
nvmlReturn_t nvmlDeviceGetBoardId(nvmlDevice_t, unsigned int* boardId);
nvmlReturn_t nvmlDeviceGetMultiGpuBoard(nvmlDevice_t, unsigned int* isMultiGpuBoard);
nvmlReturn_t nvmlDeviceGetFanSpeed(nvmlDevice_t, unsigned int* percent);
nvmlReturn_t nvmlDeviceGetPowerUsage(nvmlDevice_t, unsigned int* watts);
nvmlReturn_t nvmlDeviceGetEnforcedPowerLimit(nvmlDevice_t, unsigned int* watts);
nvmlReturn_t nvmlDeviceGetPowerManagementLimit(nvmlDevice_t, unsigned int* watts);
nvmlReturn_t nvmlDeviceGetCurrPcieLinkGeneration(nvmlDevice_t, unsigned int* generation);
nvmlReturn_t nvmlDeviceGetCurrPcieLinkWidth(nvmlDevice_t, unsigned int* lanes);
nvmlReturn_t nvmlDeviceGetMaxPcieLinkGeneration(nvmlDevice_t, unsigned int* generation);
nvmlReturn_t nvmlDeviceGetMaxPcieLinkWidth(nvmlDevice_t, unsigned int* lanes);
nvmlReturn_t nvmlDeviceGetPciInfo(nvmlDevice_t, nvmlPciInfo_t* pci);
nvmlReturn_t nvmlDeviceGetCudaComputeCapability(nvmlDevice_t, int* major, int* minor);
nvmlReturn_t nvmlDeviceGetComputeMode(nvmlDevice_t, nvmlComputeMode_t* mode);
nvmlReturn_t nvmlDeviceGetPerformanceState(nvmlDevice_t, nvmlPstates_t* state);
nvmlReturn_t nvmlDeviceGetVirtualizationMode(nvmlDevice_t, nvmlGpuVirtualizationMode_t* mode);
nvmlReturn_t nvmlDeviceGetHostVgpuMode(nvmlDevice_t, nvmlHostVgpuMode_t* mode);
nvmlReturn_t nvmlDeviceGetEccMode(nvmlDevice_t, nvmlEnableState_t* current,
                                  nvmlEnableState_t* pending);
nvmlReturn_t nvmlDeviceGetTemperature(nvmlDevice_t, nvmlTemperatureSensors_t,
                                      unsigned int* celsius);
nvmlReturn_t nvmlDeviceGetTemperatureThreshold(nvmlDevice_t, nvmlTemperatureThresholds_t,
                                               unsigned int* celsius);
nvmlReturn_t nvmlDeviceGetClock(nvmlDevice_t, nvmlClockType_t, nvmlClockId_t,
                                unsigned int* megahertz);
nvmlReturn_t nvmlDeviceGetClockInfo(nvmlDevice_t, nvmlClockType_t, unsigned int* megahertz);
nvmlReturn_t nvmlDeviceGetMaxClockInfo(nvmlDevice_t, nvmlClockType_t, unsigned int* megahertz);
nvmlReturn_t nvmlDeviceGetPcieThroughput(nvmlDevice_t, nvmlPcieUtilCounter_t,
                                         unsigned int* kilobytesPerSecond);
nvmlReturn_t nvmlDeviceGetUtilizationRates(nvmlDevice_t, nvmlUtilization_t* utilization);
nvmlReturn_t nvmlDeviceGetEncoderUtilization(nvmlDevice_t, unsigned int* percent,
                                             unsigned int* samplingPeriodUs);
nvmlReturn_t nvmlDeviceGetDecoderUtilization(nvmlDevice_t, unsigned int* percent,
                                             unsigned int* samplingPeriodUs);
nvmlReturn_t nvmlDeviceGetMemoryInfo(nvmlDevice_t, nvmlMemory_t* memory);
nvmlReturn_t nvmlDeviceGetViolationStatus(nvmlDevice_t, nvmlPerfPolicyType_t,
                                          nvmlViolationTime_t* violation);
nvmlReturn_t nvmlDeviceGetCurrentClocksThrottleReasons(nvmlDevice_t, unsigned long long* reasons);
nvmlReturn_t nvmlDeviceGetCpuAffinityWithinScope(nvmlDevice_t, unsigned int words,
                                                 unsigned long* mask, nvmlAffinityScope_t);
nvmlReturn_t nvmlDeviceGetMemoryAffinity(nvmlDevice_t, unsigned int words, unsigned long* mask,
                                         nvmlAffinityScope_t);

// Lists. A count too small for the answer makes the call return NVML_ERROR_INSUFFICIENT_SIZE and
// set the count to what is needed; otherwise it is set to what was written. A count of 0 with a
// null array asks for the size alone.
nvmlReturn_t nvmlDeviceGetRetiredPages(nvmlDevice_t, nvmlPageRetirementCause_t, unsigned int* count,
                                       unsigned long long* addresses);
nvmlReturn_t nvmlDeviceGetComputeRunningProcesses(nvmlDevice_t, unsigned int* count,
                                                  nvmlProcessInfo_t* processes);
nvmlReturn_t nvmlDeviceGetTopologyNearestGpus(nvmlDevice_t, nvmlGpuTopologyLevel_t,
                                              unsigned int* count, nvmlDevice_t* devices);
nvmlReturn_t nvmlSystemGetTopologyGpuSet(unsigned int cpu, unsigned int* count,
                                         nvmlDevice_t* devices);
nvmlReturn_t nvmlDeviceGetActiveVgpus(nvmlDevice_t, unsigned int* count,
                                      nvmlVgpuInstance_t* instances);
nvmlReturn_t nvmlDeviceGetSupportedVgpus(nvmlDevice_t, unsigned int* count,
                                         nvmlVgpuTypeId_t* types);
nvmlReturn_t nvmlDeviceGetCreatableVgpus(nvmlDevice_t, unsigned int* count,
                                         nvmlVgpuTypeId_t* types);
nvmlReturn_t nvmlDeviceGetVgpuUtilization(nvmlDevice_t, unsigned long long lastSeenTimeStamp,
                                          nvmlValueType_t* valueType, unsigned int* count,
                                          nvmlVgpuInstanceUtilizationSample_t* samples);
nvmlReturn_t nvmlDeviceGetVgpuProcessUtilization(nvmlDevice_t, unsigned long long lastSeenTimeStamp,
                                                 unsigned int* count,
                                                 nvmlVgpuProcessUtilizationSample_t* samples);

// Pairs of GPUs.
nvmlReturn_t nvmlDeviceGetTopologyCommonAncestor(nvmlDevice_t, nvmlDevice_t,
                                                 nvmlGpuTopologyLevel_t* level);
nvmlReturn_t nvmlDeviceGetP2PStatus(nvmlDevice_t, nvmlDevice_t, nvmlGpuP2PCapsIndex_t,
                                    nvmlGpuP2PStatus_t* status);

// The maker's own, on one GPU.
nvmlReturn_t zanmlDeviceGetBoardPosition(nvmlDevice_t, unsigned int* position);
nvmlReturn_t zanmlDeviceGetBoardPowerUsage(nvmlDevice_t, unsigned int* watts);
nvmlReturn_t zanmlDeviceGetBoardPowerLimit(nvmlDevice_t, unsigned int* watts);
nvmlReturn_t zanmlDeviceGetGpuSn(nvmlDevice_t, unsigned int* serial);
nvmlReturn_t zanmlDeviceGetBoardTemperature(nvmlDevice_t, unsigned int* celsius);
nvmlReturn_t zanmlDeviceGetBoardSn(nvmlDevice_t, unsigned long long* serial);
nvmlReturn_t zanmlDeviceGetFirmwareVersion(nvmlDevice_t, char* text, unsigned int length);
nvmlReturn_t zanmlDeviceGetHardwareVersion(nvmlDevice_t, char* text, unsigned int length);
nvmlReturn_t zanmlDeviceGetBoardPn(nvmlDevice_t, char* text, unsigned int length);
nvmlReturn_t zanmlDeviceGetManufactureDate(nvmlDevice_t, char* text, unsigned int length);
nvmlReturn_t zanmlDeviceGetGPUVoltage(nvmlDevice_t, unsigned int* integerPart,
                                      unsigned int* fractionPart);
nvmlReturn_t zanmlDeviceGetVddVoltage(nvmlDevice_t, unsigned int* integerPart,
                                      unsigned int* fractionPart);
nvmlReturn_t zanmlDeviceGetMemVoltage(nvmlDevice_t, unsigned int* integerPart,
                                      unsigned int* fractionPart);
nvmlReturn_t zanmlDeviceGetCeMask(nvmlDevice_t, unsigned int* mask, unsigned int* supportedMask);
nvmlReturn_t zanmlDeviceSetCeMask(nvmlDevice_t, unsigned int mask);
nvmlReturn_t zanmlDeviceGetJpuUtilization(nvmlDevice_t, zanmlJpuUtilization_t* utilization);
nvmlReturn_t zanmlDeviceGetVpuUtilization(nvmlDevice_t, zanmlVpuUtilization_t* utilization);
nvmlReturn_t zanmlDeviceGetComputeAllProcesses(nvmlDevice_t, unsigned int* count,
                                               nvmlProcessInfo_t* processes);
nvmlReturn_t zanmlDeviceGetResetStatus(nvmlDevice_t, int* status);
nvmlReturn_t zanmlDeviceSetResetStatus(nvmlDevice_t, int status);
nvmlReturn_t zanmlDeviceReset(nvmlDevice_t);
// Writes up to kZanmlMaxVgpuPids process ids; unused entries stay 0.
nvmlReturn_t getDeviceVgpuPids(nvmlDevice_t, unsigned int* pids);

// vGPU instances and types.
nvmlReturn_t nvmlVgpuInstanceGetVmID(nvmlVgpuInstance_t, char* vmId, unsigned int size,
                                     nvmlVgpuVmIdType_t* type);
nvmlReturn_t nvmlVgpuInstanceGetUUID(nvmlVgpuInstance_t, char* text, unsigned int length);
nvmlReturn_t nvmlVgpuInstanceGetMdevUUID(nvmlVgpuInstance_t, char* text, unsigned int length);
nvmlReturn_t nvmlVgpuInstanceGetVmDriverVersion(nvmlVgpuInstance_t, char* text,
                                                unsigned int length);
nvmlReturn_t nvmlVgpuInstanceGetType(nvmlVgpuInstance_t, nvmlVgpuTypeId_t* type);
nvmlReturn_t nvmlVgpuInstanceGetEccMode(nvmlVgpuInstance_t, nvmlEnableState_t* mode);
nvmlReturn_t nvmlVgpuInstanceGetGpuPciId(nvmlVgpuInstance_t, char* text, unsigned int* length);
nvmlReturn_t nvmlVgpuInstanceGetFbUsage(nvmlVgpuInstance_t, unsigned long long* bytes);
nvmlReturn_t zanmlVgpuInstanceGetVmName(nvmlVgpuInstance_t, char* text, unsigned int length);
nvmlReturn_t nvmlVgpuTypeGetName(nvmlVgpuTypeId_t, char* text, unsigned int* size);
nvmlReturn_t nvmlVgpuTypeGetClass(nvmlVgpuTypeId_t, char* text, unsigned int* size);
nvmlReturn_t nvmlVgpuTypeGetFramebufferSize(nvmlVgpuTypeId_t, unsigned long long* bytes);
nvmlReturn_t nvmlVgpuTypeGetDeviceID(nvmlVgpuTypeId_t, unsigned long long* deviceId,
                                     unsigned long long* subsystemId);
nvmlReturn_t nvmlVgpuTypeGetMaxInstances(nvmlDevice_t, nvmlVgpuTypeId_t, unsigned int* count);

// NOLINTEND(readability-identifier-naming)

}  // extern "C"

static_assert(sizeof(void*) == 8, "the interface is that of 64-bit Linux");
static_assert(sizeof(nvmlReturn_t) == 4);
static_assert(sizeof(nvmlPciInfo_t) == 68 && offsetof(nvmlPciInfo_t, domain) == 16 &&
              offsetof(nvmlPciInfo_t, bus) == 20 && offsetof(nvmlPciInfo_t, device) == 24 &&
              offsetof(nvmlPciInfo_t, pciDeviceId) == 28 &&
              offsetof(nvmlPciInfo_t, pciSubSystemId) == 32 &&
              offsetof(nvmlPciInfo_t, busId) == 36);
static_assert(sizeof(nvmlUtilization_t) == 8 && offsetof(nvmlUtilization_t, memory) == 4);
static_assert(sizeof(nvmlMemory_t) == 24 && offsetof(nvmlMemory_t, free) == 8 &&
              offsetof(nvmlMemory_t, used) == 16);
static_assert(sizeof(nvmlProcessInfo_t) == 16 && offsetof(nvmlProcessInfo_t, usedGpuMemory) == 8);
static_assert(sizeof(nvmlViolationTime_t) == 16 &&
              offsetof(nvmlViolationTime_t, violationTime) == 8);
static_assert(sizeof(nvmlValue_t) == 8);
static_assert(sizeof(nvmlVgpuInstanceUtilizationSample_t) == 48 &&
              offsetof(nvmlVgpuInstanceUtilizationSample_t, timeStamp) == 8 &&
              offsetof(nvmlVgpuInstanceUtilizationSample_t, smUtil) == 16 &&
              offsetof(nvmlVgpuInstanceUtilizationSample_t, decUtil) == 40);
static_assert(sizeof(nvmlVgpuProcessUtilizationSample_t) == 96 &&
              offsetof(nvmlVgpuProcessUtilizationSample_t, pid) == 4 &&
              offsetof(nvmlVgpuProcessUtilizationSample_t, processName) == 8 &&
              offsetof(nvmlVgpuProcessUtilizationSample_t, timeStamp) == 72 &&
              offsetof(nvmlVgpuProcessUtilizationSample_t, smUtil) == 80 &&
              offsetof(nvmlVgpuProcessUtilizationSample_t, decUtil) == 92);
static_assert(sizeof(zanmlJpuUtilization_t) == 264 &&
              offsetof(zanmlJpuUtilization_t, busyTime) == 8);
static_assert(sizeof(zanmlVpuUtilization_t) == 140 && offsetof(zanmlVpuUtilization_t, total) == 4 &&
              offsetof(zanmlVpuUtilization_t, busy) == 12);
