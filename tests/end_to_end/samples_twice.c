/* A management library of one GPU with three vGPUs, of which the second was sampled twice and the
 * third never. Its figures are doubles. It has no other operation. */

struct Sample {
  unsigned id;
  unsigned long long time;
  double figures[4];
};

static int answer(unsigned value, unsigned* result) {
  *result = value;
  return 0;
}

int nvmlInit(void) { return 0; }
int nvmlDeviceGetCount_v2(unsigned* count) { return answer(1, count); }
int nvmlDeviceGetVirtualizationMode(void* device, unsigned* mode) {
  return device ? answer(2, mode) : 2;
}

int nvmlDeviceGetHandleByIndex_v2(unsigned index, void** device) {
  static char gpu;
  *device = &gpu;
  return index == 0 ? 0 : 2;
}

int nvmlDeviceGetActiveVgpus(void* device, unsigned* count, unsigned* ids) {
  (void)device;
  const unsigned room = *count;
  *count = 3;
  if (room < 3 || !ids) return 7;
  for (unsigned i = 0; i < 3; ++i) ids[i] = i + 1;
  return 0;
}

int nvmlDeviceGetVgpuUtilization(void* device, unsigned long long since, unsigned* type,
                                 unsigned* count, struct Sample* samples) {
  (void)device, (void)since;
  static const struct Sample kSamples[] = {
      {1, 9, {10, 11, 12, 13}}, {2, 8, {20, 21, 22, 23}}, {2, 9, {130, 31, 32, 33}}};
  const unsigned room = *count;
  *type = 0;
  *count = 3;
  if (room < 3 || !samples) return 7;
  for (unsigned i = 0; i < 3; ++i) samples[i] = kSamples[i];
  return 0;
}
