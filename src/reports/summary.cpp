#include "reports/summary.h"

#include "device/attributes.h"
#include "device/format.h"
#include "device/readers.h"
#include "device/session.h"
#include "device/text.h"
#include "device/time.h"
#include "output/pass_loop.h"
#include "output/text.h"
#include "request/option_values.h"
#include "request/options.h"

#include <ostream>

namespace zanctl {
namespace {

constexpr std::string_view kBorder =
    "+-----------------------------------------------------------------------------+\n";
constexpr std::string_view kTitles =
    "|-------------------------------+----------------------+----------------------|\n"
    "| GPU  Name                     | Bus-Id               | Clock-SM  Clock-Mem  |\n"
    "| Fan  Temp  Perf  Pwr:Usage/Cap|      Memory-Usage    | GPU-Util  Compute M. |\n"
    "|===============================+======================+======================|\n";
constexpr std::string_view kGpuRule =
    "+-------------------------------+----------------------+----------------------+\n";
constexpr std::string_view kProcessTitles =
    "| Processes:                                                       GPU Memory |\n"
    "|  GPU        PID      Process name                                Usage(MiB) |\n"
    "|=============================================================================|\n";
constexpr std::string_view kNoProcesses =
    "|  No running processes found                                                 |\n";

// All ones become -1, which the formatters show as unavailable.
std::int32_t asSigned(std::uint64_t value) { return static_cast<std::int32_t>(value); }
std::int32_t asSigned(std::optional<std::uint32_t> value) {
  return asSigned(std::uint64_t{value.value_or(kUnavailable)});
}

// A board of two shows its power on the first GPU.
void readPower(SummaryGpu& gpu) {
  const auto position = known(attributes::boardPosition());
  if (!position) {
    gpu.power = known(attributes::powerUsage());
    gpu.powerLimit = known(attributes::enforcedPowerLimit());
  } else if (position != 1U) {
    gpu.power = known(attributes::boardPowerUsage());
    gpu.powerLimit = known(attributes::boardPowerLimit());
  }
}

SummaryGpu readGpu(std::uint32_t index) {
  SummaryGpu gpu{};
  gpu.index = index;
  gpu.name = attributes::name();
  gpu.pci = attributes::pci().value_or(nvmlPciInfo_t{});
  gpu.smClock = attributes::clock(NVML_CLOCK_SM);
  gpu.memClock = attributes::clock(NVML_CLOCK_MEM);
  gpu.fanSpeed = attributes::fanSpeed();
  gpu.temperature = attributes::temperature();
  gpu.performanceState = attributes::performanceState();
  readPower(gpu);
  gpu.memory = attributes::memory().value_or(nvmlMemory_t{});
  gpu.gpuUtil = attributes::utilization().value_or(nvmlUtilization_t{}).gpu;
  gpu.computeMode = attributes::computeMode().value_or(0);
  return gpu;
}

std::string watts(std::optional<std::uint32_t> value) {
  return value ? std::to_string(*value) + "W" : kUnavailableText;
}

void writeHeader(std::string& text, std::time_t time) {
  join(text, timestampLine(time), kBorder);
  join(text, "|  ZAN-ML: ", fmtText(libraryVersion(), 7),
       "     Driver Version: ", fmtText(driverVersion(), 7),
       "     CUDA Version: ", fmtText(cudaVersion(), 7), "      |\n");
  join(text, kTitles);
}

void writeProcesses(Output& output) {
  std::string& text = output.text();
  join(text, "\n", kBorder, kProcessTitles);
  bool found = false;
  forEachDevice({}, [&](std::uint32_t index) {
    for (const nvmlProcessInfo_t& process : reader().readRunningProcesses()) {
      found = true;
      const ProcessEntry entry = describeProcess(process);
      if (!entry.name.empty()) writeSummaryProcess(text, index, entry);
      output.flushIfLong();
    }
  });
  if (!found) join(text, kNoProcesses);
  join(text, kBorder);
}

}  // namespace

void writeSummaryGpu(std::string& text, const SummaryGpu& gpu) {
  join(text, "| ", fmtInt(asSigned(gpu.index), 2), "   ",
       fmtText(gpu.name ? *gpu.name : kUnavailableText, 24), " | ", fmtText(busIdText(gpu.pci), 20),
       " | ", fmtIntUnit(asSigned(gpu.smClock.value_or(0)), "MHz", 8), "  ",
       fmtIntUnit(asSigned(gpu.memClock.value_or(0)), "MHz", 8), "   |\n");
  const std::int32_t state = asSigned(gpu.performanceState.value_or(kUnknownPerformanceState));
  join(text, "| ", fmtPercent(asSigned(gpu.fanSpeed), 4), " ",
       fmtIntUnit(asSigned(gpu.temperature), "C", 5), " ", fmtText("P" + std::to_string(state), 5),
       " ", fmtText(watts(gpu.power) + " / " + watts(gpu.powerLimit), 12), " | ",
       fmtMemory(asSigned(gpu.memory.used >> 20U), asSigned(gpu.memory.total >> 20U), 20), " | ",
       fmtPercent(asSigned(gpu.gpuUtil), 8), "  ", fmtComputeMode(gpu.computeMode, 10), " |\n");
  join(text, kGpuRule);
}

void writeSummaryProcess(std::string& text, std::uint32_t gpuIndex, const ProcessEntry& process) {
  join(text, "|  ");
  alignRight(text, 3, Decimal(gpuIndex));
  alignRight(text, 11, Decimal(process.pid));
  join(text, "      ", processNameColumn(process.name), "  ",
       fmtInt(asSigned(process.usedMemory >> 20U), 10), " |\n");
}

std::string processNameColumn(std::string_view name) {
  constexpr std::size_t kWidth = 42;
  constexpr std::size_t kCutWidth = 39;
  constexpr std::size_t kTailLength = 37;
  if (name.size() <= kWidth) return fmtText(name, kWidth);
  const std::size_t pathLength = name.find(' ');
  const std::string_view path = name.substr(0, pathLength);
  if (path.size() > kWidth) {
    return "..." + fmtText(endOf(path, kTailLength), kCutWidth);
  }
  if (path.size() >= kCutWidth - 1) return fmtText(path, kWidth);
  return fmtText(name, kCutWidth) + "...";
}

int runSummary(const SummaryOptions& options, std::ostream& out) {
  const auto period = readLoop(options.loop, out);
  if (!period) {
    out << "\n";
    return 0;
  }
  auto output = openOutput(options.filename, out);
  if (!output) {
    out << "\n";
    return 0;
  }
  runPasses(*output, onceOrEvery(*period), [&options](const Pass& pass) {
    writeHeader(pass.text(), pass.start.tv_sec);
    forEachDevice(options.selection,
                  [&](std::uint32_t index) { writeSummaryGpu(pass.text(), readGpu(index)); });
    writeProcesses(pass.output);
  });
  return 0;
}

}  // namespace zanctl
