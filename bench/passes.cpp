// The device monitor's own time per GPU and pass, over a library that answers constants, beside a
// bare loop of the same library calls; and its memory over many passes.
#include "bench/usage.h"
#include "device/session.h"
#include "monitors/device_monitor.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>

#include <unistd.h>

namespace {

using namespace zanctl;

constexpr int kPasses = 50;

void monitor(int passes) {
  DmonOptions options;
  options.count = fmt::to_string(passes);
  options.filename = "/dev/null";
  if (runDeviceMonitor(options, std::cout) != 0) std::exit(1);
}

void callBarely(int passes) {
  const Library& lib = library();
  unsigned int value = 0;
  unsigned int period = 0;
  nvmlUtilization_t utilization{};
  for (int pass = 0; pass < passes; ++pass) {
    for (const nvmlDevice_t device : session().handles) {
      lib.nvmlDeviceGetBoardId(device, &value);
      lib.zanmlDeviceGetBoardPosition(device, &value);
      lib.zanmlDeviceGetBoardPowerUsage(device, &value);
      lib.nvmlDeviceGetTemperature(device, NVML_TEMPERATURE_GPU, &value);
      lib.nvmlDeviceGetUtilizationRates(device, &utilization);
      lib.nvmlDeviceGetClockInfo(device, NVML_CLOCK_SM, &value);
      lib.nvmlDeviceGetClockInfo(device, NVML_CLOCK_MEM, &value);
      lib.nvmlDeviceGetEncoderUtilization(device, &value, &period);
      lib.nvmlDeviceGetDecoderUtilization(device, &value, &period);
    }
  }
}

// Microseconds per GPU and pass; the least of several rounds.
double timePerGpu(void (*run)(int passes)) {
  constexpr int kRounds = 20;
  double least = 1e9;
  for (int round = 0; round < kRounds; ++round) {
    const auto start = std::chrono::steady_clock::now();
    run(kPasses);
    const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - start;
    least = std::min(least, took.count() / kPasses / session().deviceCount);
  }
  return least;
}

}  // namespace

// Nothing waits between two passes.
extern "C" int usleep(useconds_t /*microseconds*/) { return 0; }

int main() {
  setenv("CONSTANT_GPUS", "256", 1);
  for (const std::uint32_t gpus : {8U, 64U, 256U}) {
    openSession(gpus);
    const double own = timePerGpu(monitor);
    const double bare = timePerGpu(callBarely);
    fmt::print("dmon pass, {:>3} GPUs: {:.2f} us per GPU, {:.0f} times a bare loop ({:.3f} us)\n",
               gpus, own, own / bare, bare);
    closeSession();
  }
  openSession(8);
  monitor(100);
  const long before = ownUsage().ru_maxrss;
  monitor(10'000);
  fmt::print("dmon, 10,000 passes after the first hundred: peak memory grew by {} KB to {} KB\n",
             ownUsage().ru_maxrss - before, ownUsage().ru_maxrss);
}
