// A management library that means no good. What it does stands in the file that HOSTILE_MOOD names:
// "well", "crash" or "hang" (at GPU 1), "hang_at_start", "garbage".
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#define EXPORT __attribute__((visibility("default")))

static int mood(const char* name) {
  char text[32] = "";
  const char* path = getenv("HOSTILE_MOOD");
  FILE* file = path == NULL ? NULL : fopen(path, "r");
  if (file == NULL) return 0;
  if (fgets(text, sizeof text, file) == NULL) text[0] = 0;
  fclose(file);
  return strcmp(text, name) == 0;
}

static size_t gpuOf(void* device) { return (size_t)device - 1; }

static int fill(char* text, unsigned length, const char* honest) {
  if (!mood("garbage")) return snprintf(text, length, "%s", honest) < 0;
  for (unsigned i = 0; i < length; ++i) text[i] = "\xff\n\"\\\x01\xe2\x80"[i % 7];
  return 0;
}

EXPORT int nvmlInit(void) {
  while (mood("hang_at_start")) pause();
  return 0;
}
EXPORT int nvmlShutdown(void) { return 0; }
EXPORT int nvmlDeviceGetCount_v2(unsigned* count) { return *count = 3, 0; }
EXPORT int nvmlDeviceGetHandleByIndex_v2(unsigned index, void** device) {
  return *device = (void*)((size_t)index + 1), 0;
}
EXPORT int nvmlSystemGetDriverVersion(char* text, unsigned length) {
  return fill(text, length, "1.0");
}
EXPORT int nvmlDeviceGetUUID(void* device, char* text, unsigned length) {
  while (gpuOf(device) == 1 && mood("hang")) pause();
  if (gpuOf(device) == 1 && mood("crash")) raise(SIGSEGV);
  snprintf(text, length, "GPU-%zu", gpuOf(device));
  return 0;
}
// With an end, and nothing else that is right.
EXPORT int nvmlDeviceGetName(void* device, char* text, unsigned length) {
  (void)device;
  if (fill(text, length, "hostile") != 0) return 999;
  text[length - 1] = 0;
  return 0;
}
EXPORT int nvmlDeviceGetSerial(void* device, char* text, unsigned length) {
  (void)device;
  return fill(text, length, "1");
}
EXPORT int nvmlDeviceGetPowerUsage(void* device, unsigned* watts) {
  (void)device;
  return *watts = mood("garbage") ? ~0U : 7, 0;
}
EXPORT int nvmlDeviceGetComputeRunningProcesses(void* device, unsigned* count, void* list) {
  (void)device;
  (void)list;
  *count = mood("garbage") ? ~0U : 0;
  return mood("garbage") ? 7 : 0;
}
EXPORT int zanmlDeviceGetJpuUtilization(void* device, void* engines) {
  (void)device;
  return memset(engines, 0xff, 264), 0;
}
EXPORT int zanmlDeviceGetVpuUtilization(void* device, void* engines) {
  (void)device;
  return memset(engines, 0xff, 140), 0;
}
EXPORT int nvmlDeviceGetMemoryInfo(void* device, void* memory) {
  (void)device;
  return memset(memory, mood("garbage") ? 0xff : 0, 24), 0;
}
