// Asks the library on behalf of the launcher's tests: each argument is a question, each line of
// the output an answer.
//
//   name:N  pids:N  vgpu-pids:N  reset:N  has:OPERATION  wait:TEXT
#include "zanml/zanml.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dlfcn.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <unistd.h>

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

// Waits ten seconds in each way for a pipe that the character is written to.
void printWaits(const std::string& written) {
  int ends[2] = {};
  if (pipe(ends) != 0 || write(ends[1], written.data(), written.size()) < 0) std::exit(1);
  const timespec time = {.tv_sec = 10, .tv_nsec = 0};
  timeval rest = {.tv_sec = 10, .tv_usec = 0};
  pollfd entry = {.fd = ends[0], .events = POLLIN, .revents = 0};
  epoll_event event = {};
  event.events = EPOLLIN;
  const int instance = epoll_create1(0);
  epoll_ctl(instance, EPOLL_CTL_ADD, ends[0], &event);
  const auto one = [&] {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(ends[0], &set);
    return set;
  };
  fd_set first = one();
  fd_set second = one();
  const int found[] = {poll(&entry, 1, 10'000), ppoll(&entry, 1, &time, nullptr),
                       select(ends[0] + 1, &first, nullptr, nullptr, &rest),
                       pselect(ends[0] + 1, &second, nullptr, nullptr, &time, nullptr),
                       epoll_wait(instance, &event, 1, 10'000)};
  for (const int count : found) std::printf("%d ", count);
  std::printf("%ld\n", rest.tv_sec);
}

void answer(const std::string& question) {
  const std::size_t colon = question.find(':');
  const std::string what = question.substr(0, colon);
  const std::string argument = question.substr(colon + 1);
  if (what == "has") {
    std::printf("%d\n", dlsym(library(), argument.c_str()) != nullptr);
    return;
  }
  if (what == "wait") return printWaits(argument);
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
