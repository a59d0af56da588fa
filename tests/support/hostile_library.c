/* A management library that lies, shouts, dawdles and dies, as it is told in the environment.
 *
 *   HOSTILE            what is wrong with it, comma separated; "" for nothing:
 *                        values=ones|zeros|top|random  what every number reads
 *                        unterminated  texts fill their buffers, without a null
 *                        count=N       so many entries in every list
 *                        growing       a list has one more entry whenever it is asked
 *                        less          a list tells of fewer entries than it has written
 *                        more          a list tells of more entries than there was room for
 *                        sized         the question for a list's size is a success
 *                        repeated      all GPUs have one handle
 *                        null          GPUs have null handles, in lists too
 *                        named         every GPU has a UUID of its own
 *                        noise         every call writes to both standard streams
 *                        errno         every call sets errno
 *                        gpus=N        so many GPUs; 2 without it
 *                        vgpu          the GPUs are vGPU hosts for a pass
 *                        code=N        what the operation answers, or every one
 *                        slow, segv, abort, hang  what the operation does when it is called; slow
 *                                      takes HOSTILE_MILLISECONDS, 5000 without it
 *                        operation=NAME, gpu=N  the operation, and the GPU of which it is asked
 *   HOSTILE_FILE       a file, looked into at every call, that has this in its first line and the
 *                      texts behind it
 *   HOSTILE_TEXT       what every text says, repeated to the end of its buffer where it begins
 *                      with "*"; "text" without it
 *   HOSTILE_PIDS       the processes on every GPU, comma separated
 *   HOSTILE_SEED       of the random values
 *   HOSTILE_TIME       the seconds since the epoch that gettimeofday and time tell a program that
 *                      has the library preloaded
 *   HOSTILE_MARKER     the file that is the reset marker: it is there while the marker is set
 *   HOSTILE_LOG        a file that gets a line when a reset of a GPU begins ("begin PID") and ends
 *                      ("end PID"), and when the marker is set ("set PID STATUS")
 *
 * The structures of results are filled as far as their sizes go; see src/zanml/zanml.h for what
 * stands where. */
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

enum { kSuccess = 0, kInvalid = 2, kInsufficientSize = 7, kMostPids = 1024 };

typedef void* Device;

static const char* modes = "";
static const char* text = "text";
static unsigned gpus;
static unsigned listed;
static unsigned pids[kMostPids];
static unsigned pidCount;
static int* nowhere;
static uint64_t seed = 88172645463325252U;

/* The value of a mode, "" of one that has none; null where it is off. */
static const char* mode(const char* name) {
  const size_t length = strlen(name);
  for (const char* at = modes; (at = strstr(at, name)) != NULL; at += length) {
    if (at != modes && at[-1] != ',') continue;
    if (at[length] == '=') return at + length + 1;
    if (at[length] == ',' || at[length] == '\0') return at + length;
  }
  return NULL;
}
static int is(const char* name) { return mode(name) != NULL; }

static unsigned numberOf(const char* name, unsigned otherwise) {
  const char* const value = mode(name);
  return value == NULL ? otherwise : (unsigned)strtoul(value, NULL, 0);
}

static void readFile(const char* path) {
  static char content[256];
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  const ssize_t size = read(file, content, sizeof content - 1);
  close(file);
  content[size < 0 ? 0 : size] = '\0';
  char* const end = strchr(content, '\n');
  if (end != NULL) *end = '\0';
  modes = content;
  text = end == NULL ? "text" : end + 1;
}

static void look(void) {
  if (getenv("HOSTILE_FILE") != NULL) readFile(getenv("HOSTILE_FILE"));
  gpus = numberOf("gpus", 2);
  listed = numberOf("count", 3);
}

__attribute__((constructor)) static void prepare(void) {
  if (getenv("HOSTILE") != NULL) modes = getenv("HOSTILE");
  if (getenv("HOSTILE_TEXT") != NULL) text = getenv("HOSTILE_TEXT");
  if (getenv("HOSTILE_SEED") != NULL) seed += strtoull(getenv("HOSTILE_SEED"), NULL, 10) << 20U;
  for (const char* list = getenv("HOSTILE_PIDS"); list != NULL && *list != '\0';) {
    char* end = NULL;
    if (pidCount < kMostPids) pids[pidCount++] = (unsigned)strtoul(list, &end, 10);
    list = end == NULL || *end != ',' ? NULL : end + 1;
  }
}

static uint64_t random64(void) {
  seed ^= seed << 13U;
  seed ^= seed >> 7U;
  seed ^= seed << 17U;
  return seed;
}

static void dawdle(void) {
  const char* const milliseconds = getenv("HOSTILE_MILLISECONDS");
  /* A wait that takes real time on a simulated clock as well. */
  poll(NULL, 0, milliseconds == NULL ? 5000 : (int)strtol(milliseconds, NULL, 10));
}

static void writeText(int stream, const char* said) {
  const ssize_t ignored = write(stream, said, strlen(said));
  (void)ignored;
}

static Device handleOf(unsigned index) {
  if (is("null")) return NULL;
  return (Device)(uintptr_t)(is("repeated") ? 1 : index + 1);
}

/* What every operation does first; its return code. The subject is null where it has none. */
static int begin(const char* name, const void* subject) {
  look();
  const char* const operation = mode("operation");
  const int isChosen = operation != NULL && strncmp(operation, name, strlen(name)) == 0 &&
                       strchr(",", operation[strlen(name)]) != NULL &&
                       (mode("gpu") == NULL || subject == handleOf(numberOf("gpu", 0)));
  if (is("noise")) {
    writeText(STDOUT_FILENO, "<noise\n>");
    writeText(STDERR_FILENO, "<noise\n>");
  }
  if (isChosen && is("slow")) dawdle();
  if (isChosen && is("hang")) {
    for (;;) pause();
  }
  if (isChosen && is("segv")) *(volatile int*)nowhere = 0;
  if (isChosen && is("abort")) abort();
  if (is("errno")) errno = (int)(random64() % 134);
  if ((isChosen || operation == NULL) && is("code")) return (int)numberOf("code", 0);
  return kSuccess;
}

static void fill(void* result, size_t size) {
  const char* const values = mode("values");
  unsigned char* const bytes = result;
  if (values == NULL) {
    /* Small numbers of 32 bits; in those of 64 the upper half is small as well. */
    for (size_t i = 0; i < size; ++i) bytes[i] = i % 4 == 0 ? 42 : 0;
  } else if (strncmp(values, "random", 6) == 0) {
    for (size_t i = 0; i < size; ++i) bytes[i] = (unsigned char)random64();
  } else if (strncmp(values, "top", 3) == 0) {
    for (size_t i = 0; i < size; ++i) bytes[i] = i % 4 == 3 ? 0x80 : 0;
  } else {
    memset(bytes, strncmp(values, "ones", 4) == 0 ? 0xFF : 0, size);
  }
}

static void fillText(char* buffer, size_t size) {
  const char* const said = *text == '*' ? text + 1 : text;
  const size_t length = strlen(said);
  const int repeats = *text == '*' || is("unterminated");
  if (size == 0) return;
  for (size_t i = 0; i < size; ++i) buffer[i] = '\0';
  for (size_t i = 0; i < size && length > 0 && (repeats || i < length); ++i) {
    buffer[i] = said[i % length];
  }
  if (!is("unterminated")) buffer[size - 1] = '\0';
}

typedef void WriteEntry(void* entries, unsigned index);

static int answerList(int code, unsigned entryCount, unsigned* count, void* entries,
                      WriteEntry* writeEntry) {
  static unsigned grown;
  const unsigned room = *count;
  const unsigned wanted = is("growing") ? entryCount + ++grown : entryCount;
  if (code != kSuccess) {
    fill(count, sizeof *count);
    return code;
  }
  *count = wanted;
  if (entries == NULL && is("sized")) return kSuccess;
  if (is("growing") && entries != NULL) {
    *count = room + 1;
    return kInsufficientSize;
  }
  for (unsigned i = 0; entries != NULL && i < room && i < wanted; ++i) writeEntry(entries, i);
  if (is("less")) *count = wanted < room ? wanted / 2 : room / 2;
  if (is("more") && entries != NULL) {
    *count = 0xFFFFFFFFU;
    return kSuccess;
  }
  return room < wanted ? kInsufficientSize : kSuccess;
}

static void writeHandle(void* entries, unsigned index) {
  ((Device*)entries)[index] = handleOf(index % (gpus == 0 ? 1 : gpus));
}
static void writeNumber(void* entries, unsigned index) {
  fill((unsigned*)entries + index, sizeof(unsigned));
}
static void writeLong(void* entries, unsigned index) {
  fill((uint64_t*)entries + index, sizeof(uint64_t));
}

struct Process {
  unsigned pid;
  uint64_t bytes;
};
static void writeProcess(void* entries, unsigned index) {
  struct Process* const process = (struct Process*)entries + index;
  fill(process, sizeof *process);
  if (index < pidCount) process->pid = pids[index];
}

enum { kInstanceSampleSize = 48, kProcessSampleSize = 96, kNameOffset = 8, kNameSize = 64 };
static void writeInstanceSample(void* entries, unsigned index) {
  fill((char*)entries + (size_t)index * kInstanceSampleSize, kInstanceSampleSize);
}
static void writeProcessSample(void* entries, unsigned index) {
  char* const sample = (char*)entries + (size_t)index * kProcessSampleSize;
  fill(sample, kProcessSampleSize);
  fillText(sample + kNameOffset, kNameSize);
}

/* The shapes of operations, one macro each. */
#define EXPORT __attribute__((visibility("default")))

/* (any, text, size) */
#define TEXT(name)                                                 \
  EXPORT int name(Device subject, char* buffer, unsigned length) { \
    const int code = begin(#name, subject);                        \
    fillText(buffer, length);                                      \
    return code;                                                   \
  }
/* (any, text, pointer to its size) */
#define SIZED_TEXT(name)                                            \
  EXPORT int name(Device subject, char* buffer, unsigned* length) { \
    const int code = begin(#name, subject);                         \
    fillText(buffer, *length);                                      \
    fill(length, sizeof *length);                                   \
    return code;                                                    \
  }
/* (text, size) */
#define SYSTEM_TEXT(name)                          \
  EXPORT int name(char* buffer, unsigned length) { \
    const int code = begin(#name, NULL);           \
    fillText(buffer, length);                      \
    return code;                                   \
  }
/* (any, result) */
#define VALUE(name, size)                         \
  EXPORT int name(Device subject, void* result) { \
    const int code = begin(#name, subject);       \
    fill(result, size);                           \
    return code;                                  \
  }
/* (any, result, result) */
#define PAIR(name, size)                                       \
  EXPORT int name(Device subject, void* first, void* second) { \
    const int code = begin(#name, subject);                    \
    fill(first, size);                                         \
    fill(second, size);                                        \
    return code;                                               \
  }
/* (any, choice, result) */
#define CHOICE(name, size)                                      \
  EXPORT int name(Device subject, void* choice, void* result) { \
    const int code = begin(#name, subject);                     \
    (void)choice;                                               \
    fill(result, size);                                         \
    return code;                                                \
  }
/* (any, choice, choice, result) */
#define TWO_CHOICES(name, size)                                           \
  EXPORT int name(Device subject, void* one, void* other, void* result) { \
    const int code = begin(#name, subject);                               \
    (void)one, (void)other;                                               \
    fill(result, size);                                                   \
    return code;                                                          \
  }
/* (device, count, entries) */
#define LIST(name, size, writeEntry)                                \
  EXPORT int name(Device subject, unsigned* count, void* entries) { \
    const int code = begin(#name, subject);                         \
    return answerList(code, size, count, entries, writeEntry);      \
  }
/* (device, choice, count, entries) */
#define CHOICE_LIST(name, writeEntry)                                                \
  EXPORT int name(Device subject, uint64_t choice, unsigned* count, void* entries) { \
    const int code = begin(#name, subject);                                          \
    (void)choice;                                                                    \
    return answerList(code, listed, count, entries, writeEntry);                     \
  }
/* (device, words, mask, scope) */
#define MASK(name)                                                                  \
  EXPORT int name(Device subject, unsigned words, unsigned long* mask, int scope) { \
    const int code = begin(#name, subject);                                         \
    (void)scope;                                                                    \
    fill(mask, words * sizeof *mask);                                               \
    return code;                                                                    \
  }

EXPORT int gettimeofday(struct timeval* restrict now, void* restrict zone) {
  struct timespec real;
  (void)zone;
  clock_gettime(CLOCK_REALTIME, &real);
  now->tv_sec = real.tv_sec;
  now->tv_usec = real.tv_nsec / 1000;
  if (getenv("HOSTILE_TIME") != NULL) now->tv_sec = strtoll(getenv("HOSTILE_TIME"), NULL, 10);
  return 0;
}
EXPORT time_t time(time_t* result) {
  struct timeval now;
  gettimeofday(&now, NULL);
  if (result != NULL) *result = now.tv_sec;
  return now.tv_sec;
}

EXPORT int nvmlInit(void) { return begin("nvmlInit", NULL); }
EXPORT int nvmlShutdown(void) { return begin("nvmlShutdown", NULL); }
EXPORT int nvmlDeviceGetCount_v2(unsigned* count) {
  const int code = begin("nvmlDeviceGetCount_v2", NULL);
  *count = gpus;
  return code;
}
EXPORT int nvmlDeviceGetHandleByIndex_v2(unsigned index, Device* device) {
  const int code = begin("nvmlDeviceGetHandleByIndex_v2", NULL);
  *device = handleOf(index);
  return code;
}
SYSTEM_TEXT(nvmlSystemGetDriverVersion)
SYSTEM_TEXT(nvmlSystemGetNVMLVersion)
EXPORT int nvmlSystemGetCudaDriverVersion_v2(int* version) {
  const int code = begin("nvmlSystemGetCudaDriverVersion_v2", NULL);
  fill(version, sizeof *version);
  return code;
}

TEXT(nvmlDeviceGetName)
TEXT(nvmlDeviceGetSerial)
EXPORT int nvmlDeviceGetUUID(Device subject, char* buffer, unsigned length) {
  const int code = begin("nvmlDeviceGetUUID", subject);
  fillText(buffer, length);
  if (is("named")) snprintf(buffer, length, "GPU-%d", (int)(uintptr_t)subject);
  return code;
}
TEXT(nvmlDeviceGetBoardPartNumber)
VALUE(nvmlDeviceGetIndex, 4)
VALUE(nvmlDeviceGetMinorNumber, 4)
VALUE(nvmlDeviceGetBoardId, 4)
VALUE(nvmlDeviceGetMultiGpuBoard, 4)
VALUE(nvmlDeviceGetFanSpeed, 4)
VALUE(nvmlDeviceGetPowerUsage, 4)
VALUE(nvmlDeviceGetEnforcedPowerLimit, 4)
VALUE(nvmlDeviceGetPowerManagementLimit, 4)
VALUE(nvmlDeviceGetCurrPcieLinkGeneration, 4)
VALUE(nvmlDeviceGetCurrPcieLinkWidth, 4)
VALUE(nvmlDeviceGetMaxPcieLinkGeneration, 4)
VALUE(nvmlDeviceGetMaxPcieLinkWidth, 4)
EXPORT int nvmlDeviceGetPciInfo(Device subject, char* pci) {
  enum { kLegacySize = 16, kNumbersSize = 20, kBusIdSize = 32 };
  const int code = begin("nvmlDeviceGetPciInfo", subject);
  fillText(pci, kLegacySize);
  fill(pci + kLegacySize, kNumbersSize);
  fillText(pci + kLegacySize + kNumbersSize, kBusIdSize);
  return code;
}
PAIR(nvmlDeviceGetCudaComputeCapability, 4)
VALUE(nvmlDeviceGetComputeMode, 4)
VALUE(nvmlDeviceGetPerformanceState, 4)
EXPORT int nvmlDeviceGetVirtualizationMode(Device subject, unsigned* result) {
  enum { kVgpuHost = 3 };
  static unsigned calls;
  const int code = begin("nvmlDeviceGetVirtualizationMode", subject);
  fill(result, sizeof *result);
  if (is("vgpu") && calls++ < gpus) *result = kVgpuHost;
  return code;
}
VALUE(nvmlDeviceGetHostVgpuMode, 4)
PAIR(nvmlDeviceGetEccMode, 4)
CHOICE(nvmlDeviceGetTemperature, 4)
CHOICE(nvmlDeviceGetTemperatureThreshold, 4)
TWO_CHOICES(nvmlDeviceGetClock, 4)
CHOICE(nvmlDeviceGetClockInfo, 4)
CHOICE(nvmlDeviceGetMaxClockInfo, 4)
CHOICE(nvmlDeviceGetPcieThroughput, 4)
VALUE(nvmlDeviceGetUtilizationRates, 8)
PAIR(nvmlDeviceGetEncoderUtilization, 4)
PAIR(nvmlDeviceGetDecoderUtilization, 4)
VALUE(nvmlDeviceGetMemoryInfo, 24)
CHOICE(nvmlDeviceGetViolationStatus, 16)
VALUE(nvmlDeviceGetCurrentClocksThrottleReasons, 8)
MASK(nvmlDeviceGetCpuAffinityWithinScope)
MASK(nvmlDeviceGetMemoryAffinity)
CHOICE_LIST(nvmlDeviceGetRetiredPages, writeLong)
LIST(nvmlDeviceGetComputeRunningProcesses, pidCount == 0 ? listed : pidCount, writeProcess)
CHOICE_LIST(nvmlDeviceGetTopologyNearestGpus, writeHandle)
EXPORT int nvmlSystemGetTopologyGpuSet(unsigned cpu, unsigned* count, Device* entries) {
  const int code = begin("nvmlSystemGetTopologyGpuSet", NULL);
  (void)cpu;
  return answerList(code, listed, count, entries, writeHandle);
}
LIST(nvmlDeviceGetActiveVgpus, listed, writeNumber)
LIST(nvmlDeviceGetSupportedVgpus, listed, writeNumber)
LIST(nvmlDeviceGetCreatableVgpus, listed, writeNumber)
EXPORT int nvmlDeviceGetVgpuUtilization(Device subject, uint64_t since, int* type, unsigned* count,
                                        void* entries) {
  const int code = begin("nvmlDeviceGetVgpuUtilization", subject);
  (void)since;
  fill(type, sizeof *type);
  if (mode("values") == NULL) *type = (int)(random64() % 5);
  return answerList(code, listed, count, entries, writeInstanceSample);
}
CHOICE_LIST(nvmlDeviceGetVgpuProcessUtilization, writeProcessSample)
CHOICE(nvmlDeviceGetTopologyCommonAncestor, 4)
TWO_CHOICES(nvmlDeviceGetP2PStatus, 4)

VALUE(zanmlDeviceGetBoardPosition, 4)
VALUE(zanmlDeviceGetBoardPowerUsage, 4)
VALUE(zanmlDeviceGetBoardPowerLimit, 4)
VALUE(zanmlDeviceGetGpuSn, 4)
VALUE(zanmlDeviceGetBoardTemperature, 4)
VALUE(zanmlDeviceGetBoardSn, 8)
TEXT(zanmlDeviceGetFirmwareVersion)
TEXT(zanmlDeviceGetHardwareVersion)
TEXT(zanmlDeviceGetBoardPn)
TEXT(zanmlDeviceGetManufactureDate)
PAIR(zanmlDeviceGetGPUVoltage, 4)
PAIR(zanmlDeviceGetVddVoltage, 4)
PAIR(zanmlDeviceGetMemVoltage, 4)
EXPORT int zanmlDeviceGetCeMask(Device subject, unsigned* mask, unsigned* supported) {
  const int code = begin("zanmlDeviceGetCeMask", subject);
  fill(mask, sizeof *mask);
  *supported = 0xFFFFFFFFU;
  return code;
}
EXPORT int zanmlDeviceSetCeMask(Device subject, unsigned mask) {
  (void)mask;
  return begin("zanmlDeviceSetCeMask", subject);
}
VALUE(zanmlDeviceGetJpuUtilization, 264)
VALUE(zanmlDeviceGetVpuUtilization, 140)
LIST(zanmlDeviceGetComputeAllProcesses, is("busy") ? listed : 0, writeProcess)
EXPORT int getDeviceVgpuPids(Device subject, unsigned* ids) {
  const int code = begin("getDeviceVgpuPids", subject);
  if (mode("values") != NULL) fill(ids, 32 * sizeof *ids);
  return code;
}

static void logEvent(const char* event, int number) {
  const char* const name = getenv("HOSTILE_LOG");
  char line[64];
  if (name == NULL) return;
  const int file = open(name, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  snprintf(line, sizeof line, "%s %d %d\n", event, (int)getpid(), number);
  writeText(file, line);
  close(file);
}
EXPORT int zanmlDeviceGetResetStatus(Device subject, int* status) {
  const char* const marker = getenv("HOSTILE_MARKER");
  const int code = begin("zanmlDeviceGetResetStatus", subject);
  *status = marker != NULL && access(marker, F_OK) == 0;
  return code;
}
EXPORT int zanmlDeviceSetResetStatus(Device subject, int status) {
  const char* const marker = getenv("HOSTILE_MARKER");
  const int code = begin("zanmlDeviceSetResetStatus", subject);
  logEvent("set", status);
  if (marker != NULL && status == 0) unlink(marker);
  if (marker != NULL && status != 0) close(open(marker, O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
  return code;
}
EXPORT int zanmlDeviceReset(Device subject) {
  logEvent("begin", (int)(uintptr_t)subject);
  const int code = begin("zanmlDeviceReset", subject);
  logEvent("end", (int)(uintptr_t)subject);
  return code;
}

TEXT(nvmlVgpuInstanceGetUUID)
TEXT(nvmlVgpuInstanceGetMdevUUID)
TEXT(nvmlVgpuInstanceGetVmDriverVersion)
TEXT(zanmlVgpuInstanceGetVmName)
EXPORT int nvmlVgpuInstanceGetVmID(unsigned instance, char* buffer, unsigned length, int* type) {
  const int code = begin("nvmlVgpuInstanceGetVmID", NULL);
  (void)instance;
  fillText(buffer, length);
  fill(type, sizeof *type);
  return code;
}
VALUE(nvmlVgpuInstanceGetType, 4)
VALUE(nvmlVgpuInstanceGetEccMode, 4)
VALUE(nvmlVgpuInstanceGetFbUsage, 8)
VALUE(nvmlVgpuTypeGetFramebufferSize, 8)
SIZED_TEXT(nvmlVgpuInstanceGetGpuPciId)
SIZED_TEXT(nvmlVgpuTypeGetName)
SIZED_TEXT(nvmlVgpuTypeGetClass)
PAIR(nvmlVgpuTypeGetDeviceID, 8)
CHOICE(nvmlVgpuTypeGetMaxInstances, 4)
