/* The least a command can cost: the same calls of the management library, and as many bytes
 * written.
 *
 *   floor COMMAND BYTES     COMMAND is one of summary, list, properties, report, dmon
 *
 * scripts/floor compares its calls with the command's own. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kMaxDevices = 256 };

enum Shape {
  kValue,  /* (device, result) */
  kPair,   /* (device, result, result) */
  kText,   /* (device, text, length) */
  kChoice, /* (device, choice, result) */
  kClock,  /* (device, choice, clock id, result) */
  kList,   /* (device, count, null) */
  kPages   /* (device, cause, count, null) */
};

struct Call {
  const char* name;
  enum Shape shape;
  unsigned argument;
};

static const struct Call kDeviceInfo[] = {{"nvmlDeviceGetName", kText, 64},
                                          {"nvmlDeviceGetUUID", kText, 80},
                                          {"nvmlDeviceGetMinorNumber", kValue, 0},
                                          {"nvmlDeviceGetComputeMode", kValue, 0},
                                          {"nvmlDeviceGetCudaComputeCapability", kPair, 0},
                                          {"nvmlDeviceGetPciInfo", kValue, 0},
                                          {"nvmlDeviceGetBoardId", kValue, 0},
                                          {"nvmlDeviceGetMultiGpuBoard", kValue, 0},
                                          {"zanmlDeviceGetBoardPosition", kValue, 0},
                                          {"nvmlDeviceGetSerial", kText, 30},
                                          {"nvmlDeviceGetBoardPartNumber", kText, 30},
                                          {"nvmlDeviceGetCurrPcieLinkGeneration", kValue, 0},
                                          {"nvmlDeviceGetCurrPcieLinkWidth", kValue, 0},
                                          {"nvmlDeviceGetMaxPcieLinkGeneration", kValue, 0},
                                          {"nvmlDeviceGetMaxPcieLinkWidth", kValue, 0},
                                          {"nvmlDeviceGetVirtualizationMode", kValue, 0},
                                          {"nvmlDeviceGetHostVgpuMode", kValue, 0},
                                          {"nvmlDeviceGetFanSpeed", kValue, 0},
                                          {"nvmlDeviceGetPcieThroughput", kChoice, 0},
                                          {"nvmlDeviceGetPcieThroughput", kChoice, 1},
                                          {NULL, kValue, 0}};
static const struct Call kSummaryReading[] = {{"nvmlDeviceGetTemperature", kChoice, 0},
                                              {"nvmlDeviceGetFanSpeed", kValue, 0},
                                              {"nvmlDeviceGetPowerUsage", kValue, 0},
                                              {"nvmlDeviceGetEnforcedPowerLimit", kValue, 0},
                                              {"zanmlDeviceGetBoardPowerUsage", kValue, 0},
                                              {"zanmlDeviceGetBoardPowerLimit", kValue, 0},
                                              {"nvmlDeviceGetUtilizationRates", kValue, 0},
                                              {"nvmlDeviceGetMemoryInfo", kValue, 0},
                                              {"nvmlDeviceGetClock", kClock, 1},
                                              {"nvmlDeviceGetClock", kClock, 2},
                                              {"nvmlDeviceGetPerformanceState", kValue, 0},
                                              {NULL, kValue, 0}};
static const struct Call kProcesses[] = {{"nvmlDeviceGetComputeRunningProcesses", kList, 0},
                                         {"getDeviceVgpuPids", kValue, 0},
                                         {NULL, kValue, 0}};
static const struct Call kProperties[] = {{"nvmlDeviceGetName", kText, 64},
                                          {"nvmlDeviceGetTemperature", kChoice, 0},
                                          {"nvmlDeviceGetUtilizationRates", kValue, 0},
                                          {"nvmlDeviceGetMemoryInfo", kValue, 0},
                                          {"nvmlDeviceGetPowerUsage", kValue, 0},
                                          {NULL, kValue, 0}};
static const struct Call kReportSections[] = {{"nvmlDeviceGetMemoryInfo", kValue, 0},
                                              {"nvmlDeviceGetUtilizationRates", kValue, 0},
                                              {"nvmlDeviceGetEncoderUtilization", kPair, 0},
                                              {"nvmlDeviceGetDecoderUtilization", kPair, 0},
                                              {"nvmlDeviceGetEccMode", kPair, 0},
                                              {"nvmlDeviceGetTemperature", kChoice, 0},
                                              {"nvmlDeviceGetTemperatureThreshold", kChoice, 0},
                                              {"nvmlDeviceGetTemperatureThreshold", kChoice, 1},
                                              {"nvmlDeviceGetTemperatureThreshold", kChoice, 3},
                                              {"nvmlDeviceGetPowerUsage", kValue, 0},
                                              {"nvmlDeviceGetPowerManagementLimit", kValue, 0},
                                              {"zanmlDeviceGetBoardPowerUsage", kValue, 0},
                                              {"zanmlDeviceGetBoardPowerLimit", kValue, 0},
                                              {"nvmlDeviceGetBoardId", kValue, 0},
                                              {"nvmlDeviceGetClockInfo", kChoice, 1},
                                              {"nvmlDeviceGetClockInfo", kChoice, 2},
                                              {"nvmlDeviceGetMaxClockInfo", kChoice, 1},
                                              {"nvmlDeviceGetMaxClockInfo", kChoice, 2},
                                              {"nvmlDeviceGetComputeMode", kValue, 0},
                                              {"nvmlDeviceGetPerformanceState", kValue, 0},
                                              {"nvmlDeviceGetRetiredPages", kPages, 0},
                                              {"nvmlDeviceGetRetiredPages", kPages, 1},
                                              {NULL, kValue, 0}};
static const struct Call kMonitorSample[] = {
    {"nvmlDeviceGetBoardId", kValue, 0},           {"zanmlDeviceGetBoardPosition", kValue, 0},
    {"zanmlDeviceGetBoardPowerUsage", kValue, 0},  {"nvmlDeviceGetTemperature", kChoice, 0},
    {"nvmlDeviceGetUtilizationRates", kValue, 0},  {"nvmlDeviceGetClockInfo", kChoice, 1},
    {"nvmlDeviceGetClockInfo", kChoice, 2},        {"nvmlDeviceGetEncoderUtilization", kPair, 0},
    {"nvmlDeviceGetDecoderUtilization", kPair, 0}, {NULL, kValue, 0}};

enum Versions { kNoVersions = 0, kDriverVersions = 1, kLibraryVersion = 2 };

static const struct Command {
  const char* name;
  int versions;
  const struct Call* groups[4];
} kCommands[] = {
    {"list", kNoVersions, {kDeviceInfo}},
    {"summary", kDriverVersions | kLibraryVersion, {kDeviceInfo, kSummaryReading, kProcesses}},
    {"properties", kNoVersions, {kProperties}},
    {"report", kDriverVersions, {kDeviceInfo, kReportSections, kProcesses}},
    {"dmon", kNoVersions, {kMonitorSample}},
};

typedef void (*Operation)(void);
typedef int (*SessionOperation)(void);
typedef int (*ValueOperation)(void*, void*);
typedef int (*PairOperation)(void*, void*, void*);
typedef int (*TextOperation)(void*, char*, unsigned);
typedef int (*ChoiceOperation)(void*, int, void*);
typedef int (*ClockOperation)(void*, int, int, void*);
typedef int (*ListOperation)(void*, unsigned*, void*);
typedef int (*PagesOperation)(void*, int, unsigned*, void*);

static void* libraryHandle;

static Operation find(const char* name) {
  Operation operation;
  *(void**)&operation = dlsym(libraryHandle, name);
  if (operation == NULL) {
    fprintf(stderr, "floor: the library lacks %s\n", name);
    exit(1);
  }
  return operation;
}

static void call(Operation operation, const struct Call* how, void* device) {
  unsigned long first[64];
  unsigned long second;
  unsigned count = 0;
  const int choice = (int)how->argument;
  switch (how->shape) {
    case kValue:
      ((ValueOperation)operation)(device, first);
      break;
    case kPair:
      ((PairOperation)operation)(device, first, &second);
      break;
    case kText:
      ((TextOperation)operation)(device, (char*)first, how->argument);
      break;
    case kChoice:
      ((ChoiceOperation)operation)(device, choice, first);
      break;
    case kClock:
      ((ClockOperation)operation)(device, choice, 0, first);
      break;
    case kList:
      ((ListOperation)operation)(device, &count, NULL);
      break;
    case kPages:
      ((PagesOperation)operation)(device, choice, &count, NULL);
      break;
  }
}

static void readVersions(int versions) {
  char text[80];
  int number;
  if (versions & kLibraryVersion) {
    ((int (*)(char*, unsigned))find("nvmlSystemGetNVMLVersion"))(text, sizeof text);
  }
  if (versions & kDriverVersions) {
    ((int (*)(char*, unsigned))find("nvmlSystemGetDriverVersion"))(text, sizeof text);
    ((int (*)(int*))find("nvmlSystemGetCudaDriverVersion_v2"))(&number);
  }
}

static void readDevices(const struct Command* command, void* const* devices, unsigned count) {
  const struct Call* calls[64];
  Operation operations[64];
  unsigned rows = 0;
  for (const struct Call* const* group = command->groups; *group != NULL; ++group) {
    for (const struct Call* row = *group; row->name != NULL; ++row, ++rows) {
      calls[rows] = row;
      operations[rows] = find(row->name);
    }
  }
  for (unsigned device = 0; device < count; ++device) {
    for (unsigned row = 0; row < rows; ++row) call(operations[row], calls[row], devices[device]);
  }
}

/* As every command does: one session to learn whether a reset is under way, one for the work. */
static void run(const struct Command* command) {
  const SessionOperation init = (SessionOperation)find("nvmlInit");
  const SessionOperation shutdown = (SessionOperation)find("nvmlShutdown");
  int (*const countDevices)(unsigned*) = (int (*)(unsigned*))find("nvmlDeviceGetCount_v2");
  int (*const getHandle)(unsigned, void**) =
      (int (*)(unsigned, void**))find("nvmlDeviceGetHandleByIndex_v2");
  void* devices[kMaxDevices];
  unsigned count = 0;
  int status;

  init();
  countDevices(&count);
  getHandle(0, &devices[0]);
  ((ValueOperation)find("zanmlDeviceGetResetStatus"))(devices[0], &status);
  shutdown();

  init();
  countDevices(&count);
  if (count > kMaxDevices) count = kMaxDevices;
  for (unsigned index = 0; index < count; ++index) getHandle(index, &devices[index]);
  readVersions(command->versions);
  readDevices(command, devices, count);
  shutdown();
}

static int writeBytes(size_t bytes) {
  char* const text = calloc(bytes + 1, 1);
  return text != NULL && fwrite(text, 1, bytes, stdout) == bytes && fflush(stdout) == 0 ? 0 : 1;
}

int main(int argc, char** argv) {
  const struct Command* command = kCommands;
  const struct Command* const end = kCommands + sizeof kCommands / sizeof *kCommands;
  while (argc == 3 && command != end && strcmp(argv[1], command->name) != 0) ++command;
  if (argc != 3 || command == end) {
    fprintf(stderr, "usage: floor summary|list|properties|report|dmon BYTES\n");
    return 2;
  }
  libraryHandle = dlopen("libzanml.so", RTLD_NOW);
  if (libraryHandle == NULL) {
    fprintf(stderr, "floor: %s\n", dlerror());
    return 1;
  }
  run(command);
  return writeBytes(strtoul(argv[2], NULL, 10));
}
