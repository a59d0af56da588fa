// The device monitor's own time per GPU and pass, over a library that answers at once, beside a
// bare loop of the same library calls; and its memory over many passes.
#include "device/readers.h"
#include "device/session.h"
#include "monitors/device_monitor.h"
#include "support/held_devices.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <ostream>

#include <sys/resource.h>

namespace {

using namespace zanctl;

nvmlReturn_t answerNumber(nvmlDevice_t device, unsigned int* value) {
  *value = gpuOf(device) / 2 + 1;
  return NVML_SUCCESS;
}

void bindLibrary() {
  Library& lib = library();
  lib.nvmlDeviceGetBoardId.bind(answerNumber);
  lib.zanmlDeviceGetBoardPowerUsage.bind(answerNumber);
  lib.zanmlDeviceGetBoardPosition.bind([](nvmlDevice_t device, unsigned int* position) {
    *position = gpuOf(device) % 2;
    return NVML_SUCCESS;
  });
  lib.nvmlDeviceGetTemperature.bind(
      [](nvmlDevice_t device, nvmlTemperatureSensors_t, unsigned int* celsius) {
        return answerNumber(device, celsius);
      });
  lib.nvmlDeviceGetUtilizationRates.bind([](nvmlDevice_t device, nvmlUtilization_t* utilization) {
    *utilization = {gpuOf(device) % 100, 50};
    return NVML_SUCCESS;
  });
  lib.nvmlDeviceGetClockInfo.bind([](nvmlDevice_t device, nvmlClockType_t, unsigned int* clock) {
    return answerNumber(device, clock);
  });
  const auto answerShare = [](nvmlDevice_t device, unsigned int* percent, unsigned int* period) {
    *period = 0;
    return answerNumber(device, percent);
  };
  lib.nvmlDeviceGetEncoderUtilization.bind(answerShare);
  lib.nvmlDeviceGetDecoderUtilization.bind(answerShare);
}

void monitorPass(std::ostream& out) {
  boardPowerTable().clear();
  for (std::uint32_t index = 0; index < session().deviceCount; ++index) {
    session().currentDevice = index;
    writeMonitorLine(out, {}, {index, reader().readMonitorSample(kMonitorLineParts), {}, {}}, 0);
  }
}

void barePass(std::ostream&) {
  const Library& lib = library();
  unsigned int value = 0;
  unsigned int period = 0;
  nvmlUtilization_t utilization{};
  for (const nvmlDevice_t device : session().handles) {
    lib.nvmlDeviceGetBoardId(device, &value);
    lib.zanmlDeviceGetBoardPosition(device, &value);
    if (value == 0) lib.zanmlDeviceGetBoardPowerUsage(device, &value);
    lib.nvmlDeviceGetTemperature(device, NVML_TEMPERATURE_GPU, &value);
    lib.nvmlDeviceGetUtilizationRates(device, &utilization);
    lib.nvmlDeviceGetClockInfo(device, NVML_CLOCK_SM, &value);
    lib.nvmlDeviceGetClockInfo(device, NVML_CLOCK_MEM, &value);
    lib.nvmlDeviceGetEncoderUtilization(device, &value, &period);
    lib.nvmlDeviceGetDecoderUtilization(device, &value, &period);
  }
}

// Microseconds per GPU and pass; the least of several rounds.
double timePerGpu(void (*pass)(std::ostream&), std::ostream& out) {
  constexpr int kRounds = 20;
  constexpr int kPasses = 50;
  double least = 1e9;
  for (int round = 0; round < kRounds; ++round) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kPasses; ++i) pass(out);
    const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - start;
    least = std::min(least, took.count() / kPasses / session().deviceCount);
  }
  return least;
}

long peakMemoryKb() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

}  // namespace

int main() {
  bindLibrary();
  std::ofstream out("/dev/null");
  for (const std::uint32_t gpus : {8U, 64U, kMostHeldDevices}) {
    holdDevices(gpus);
    const double own = timePerGpu(monitorPass, out);
    const double bare = timePerGpu(barePass, out);
    fmt::print("dmon pass, {:>3} GPUs: {:.2f} us per GPU, {:.0f} times a bare loop ({:.3f} us)\n",
               gpus, own, own / bare, bare);
  }
  holdDevices(8);
  for (int pass = 0; pass < 100; ++pass) monitorPass(out);
  const long before = peakMemoryKb();
  for (int pass = 0; pass < 10'000; ++pass) monitorPass(out);
  fmt::print("dmon, 10,000 passes after the first hundred: peak memory grew by {} KB to {} KB\n",
             peakMemoryKb() - before, peakMemoryKb());
}
