#include <stdio.h>
#include <zansim/zanml.h>

int main(void) {
  unsigned int count = 0;
  if (nvmlInit() != NVML_SUCCESS || nvmlDeviceGetCount_v2(&count) != NVML_SUCCESS) {
    fputs("the library does not start\n", stderr);
    return 1;
  }
  for (unsigned int i = 0; i < count; ++i) {
    nvmlDevice_t gpu;
    unsigned int celsius = 0;
    nvmlReturn_t code = nvmlDeviceGetHandleByIndex_v2(i, &gpu);
    if (code == NVML_SUCCESS) code = nvmlDeviceGetTemperature(gpu, NVML_TEMPERATURE_GPU, &celsius);
    if (code == NVML_SUCCESS) printf("GPU %u: %u C\n", i, celsius);
    else printf("GPU %u: return code %d\n", i, code);
  }
  return nvmlShutdown();
}
