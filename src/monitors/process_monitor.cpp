#include "monitors/process_monitor.h"

#include "device/attributes.h"
#include "device/format.h"
#include "device/readers.h"
#include "device/selection.h"
#include "output/pass_loop.h"
#include "output/text.h"
#include "request/option_values.h"

#include <ostream>

namespace zanctl {
namespace {

constexpr std::uint64_t kLongestProcessDelay = 10;

// Empty where the GPU as a whole does nothing.
std::optional<std::uint64_t> shareOf(std::uint32_t percent, std::uint64_t sharers) {
  if (percent == 0) return std::nullopt;
  return percent / sharers;
}

// Rounds up, and wraps around where more is used than there is.
std::optional<std::uint64_t> memoryShare(std::uint64_t used, std::uint64_t total) {
  if (used == 0) return std::nullopt;
  if (total == 0) return 0;
  return 100 - (total - used) * 100 / total;
}

GpuLoad readLoad(std::uint64_t processCount) {
  return {attributes::memory().value_or(nvmlMemory_t{}).total,
          attributes::utilization().value_or(nvmlUtilization_t{}).gpu,
          attributes::encoderUtilization().value_or(0),
          attributes::decoderUtilization().value_or(0), processCount};
}

void showGpu(const Pass& pass, const StampColumns& stamps, std::uint32_t index) {
  std::string head = stampCells(stamps, pass.start.tv_sec);
  alignRight(head, 3, Decimal(index));
  const auto processes = reader().readRunningProcesses();
  std::optional<GpuLoad> load;
  for (const nvmlProcessInfo_t& process : processes) {
    const ProcessEntry entry = describeProcess(process);
    if (entry.name.empty()) continue;
    if (!load) load = readLoad(processes.size());
    writeProcessLine(pass.text(), head, *load, entry);
    pass.output.flushIfLong();
  }
  if (!load) join(pass.text(), head, "          -     -     -     -     -     -   -\n");
  pass.output.flush();
}

}  // namespace

void writeProcessHeader(std::string& text, const StampColumns& stamps) {
  join(text, stampHeader(stamps, HeaderLine::names),
       "gpu        pid  type    sm   mem   enc   dec   command\n",
       stampHeader(stamps, HeaderLine::units),
       "Idx          #   C/G     %     %     %     %   name\n");
}

void writeProcessLine(std::string& text, std::string_view head, const GpuLoad& load,
                      const ProcessEntry& process) {
  join(text, head);
  alignRight(text, 11, Decimal(process.pid));
  alignRight(text, kCellWidth, "C");
  alignRight(text, kCellWidth, orDash(shareOf(load.sm, load.processCount)));
  alignRight(text, kCellWidth, orDash(memoryShare(process.usedMemory, load.memoryTotal)));
  alignRight(text, kCellWidth, orDash(shareOf(load.encoder, load.processCount)));
  alignRight(text, kCellWidth, orDash(shareOf(load.decoder, load.processCount)));
  join(text, "   ", process.name, "\n");
}

int runProcessMonitor(const PmonOptions& options, std::ostream& out) {
  DeviceSet selection;
  if (resolveDevices(options.id, selection, out) != 0) return -1;
  const auto delay = readDelay(options.delay, kDefaultDelay, kLongestProcessDelay, out);
  if (!delay) return 0;
  const auto count = readCount(options.count, out);
  if (!count) return 0;
  const auto letters = readLetters(options.options, kProcessMonitorLetters, out);
  if (!letters) {
    out << "\n";
    return -1;
  }
  auto output = openOutput(options.filename, out);
  if (!output) return 0;
  const StampColumns stamps = stampColumns(*letters);
  runPasses(*output, {.periodSeconds = *delay, .passCount = *count}, [&](const Pass& pass) {
    if (pass.number % kHeaderInterval == 0) writeProcessHeader(pass.text(), stamps);
    forEachDevice(selection, [&](std::uint32_t index) { showGpu(pass, stamps, index); });
  });
  return 0;
}

}  // namespace zanctl
