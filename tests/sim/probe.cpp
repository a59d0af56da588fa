// Asks the library on behalf of the launcher's tests: each argument is a question, each line of
// the output an answer.
//
//   name:N  pids:N  vgpu-pids:N  reset:N  has:OPERATION
#include "zanml/zanml.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dlfcn.h>

namespace {

void* library() {
  static void* const handle = dlopen("libzanml.so", RTLD_NOW);
  if (handle == nullptr) {
    std::printf("%s\n", dlerror());
    std::exit(1);
  }
  return handle;
}

#define ZANSIM_FIND(name) reinterpret_cast<decltype(&::name)>(dlsym(library(), #name))

void printPids(nvmlDevice_t device) {
  nvmlProcessInfo_t infos[64] = {};
  unsigned count = 64;
  ZANSIM_FIND(nvmlDeviceGetComputeRunningProcesses)(device, &count, infos);
  for (unsigned i = 0; i < count; ++i) std::printf("%u ", infos[i].pid);
  std::printf("\n");
}

void printVgpuPids(nvmlDevice_t device) {
  unsigned pids[kZanmlMaxVgpuPids] = {};
  ZANSIM_FIND(getDeviceVgpuPids)(device, pids);
  for (const unsigned pid : pids) {
    if (pid != 0) std::printf("%u ", pid);
  }
  std::printf("\n");
}

void answer(const std::string& question) {
  const std::size_t colon = question.find(':');
  const std::string what = question.substr(0, colon);
  const std::string argument = question.substr(colon + 1);
  if (what == "has") {
    std::printf("%d\n", dlsym(library(), argument.c_str()) != nullptr);
    return;
  }
  nvmlDevice_t device = nullptr;
  ZANSIM_FIND(nvmlDeviceGetHandleByIndex_v2)
  (static_cast<unsigned>(std::strtoul(argument.c_str(), nullptr, 10)), &device);
  if (what == "pids") return printPids(device);
  if (what == "vgpu-pids") return printVgpuPids(device);
  if (what == "reset") {
    std::printf("%d\n", ZANSIM_FIND(zanmlDeviceReset)(device));
    return;
  }
  char text[64] = {};
  ZANSIM_FIND(nvmlDeviceGetName)(device, text, sizeof text);
  std::printf("%s\n", text);
}

}  // namespace

int main(int argc, char** argv) {
  const nvmlReturn_t code = ZANSIM_FIND(nvmlInit)();
  if (code != NVML_SUCCESS) std::printf("nvmlInit %d\n", code);
  for (int i = 1; i < argc; ++i) answer(argv[i]);
  return 0;
}
