#include "monitors/process_monitor.h"

#include "cli/selection.h"
#include "device/process.h"
#include "device/readers.h"
#include "device/session.h"
#include "output/pass_loop.h"

#include <fmt/ostream.h>

#include <algorithm>
#include <iostream>

#include <unistd.h>

namespace zanctl {
namespace {

constexpr int kLongestDelay = 10;

// Rounds up, and wraps around where more is used than there is, as it always has.
std::uint64_t memoryShare(std::uint64_t used, std::uint64_t total) {
  if (used == 0 || total == 0) return 0;
  return 100 - (total - used) * 100 / total;
}

std::string orDash(std::uint64_t share) { return share == 0 ? "-" : fmt::to_string(share); }

}  // namespace

std::vector<ProcessLine> processLines(const ProcessUsage& usage) {
  const auto own = static_cast<std::uint32_t>(getpid());
  const auto sharers = static_cast<std::uint32_t>(
      std::count_if(usage.processes.begin(), usage.processes.end(),
                    [own](const nvmlProcessInfo_t& process) { return process.pid != own; }));
  std::vector<ProcessLine> lines;
  for (const nvmlProcessInfo_t& process : usage.processes) {
    if (process.pid == own || !processExists(static_cast<std::int32_t>(process.pid))) continue;
    std::string name = processName(process.pid);
    if (name.empty()) continue;
    lines.push_back({process.pid, usage.utilization.gpu / sharers,
                     memoryShare(process.usedGpuMemory, usage.memoryTotal),
                     usage.utilization.encoder / sharers, usage.utilization.decoder / sharers,
                     std::move(name)});
  }
  return lines;
}

void writeProcessHeader(std::ostream& out, const StampColumns& stamps) {
  out << stampHeader(stamps, HeaderLine::names)
      << "gpu        pid  type    sm   mem   enc   dec   command\n"
      << stampHeader(stamps, HeaderLine::units)
      << "Idx          #   C/G     %     %     %     %   name\n";
}

void writeProcessLines(std::ostream& out, const StampColumns& stamps, std::uint32_t gpuIndex,
                       const std::vector<ProcessLine>& lines, std::time_t time) {
  const std::string head = fmt::format("{}{:>3}", stampCells(stamps, time), gpuIndex);
  for (const ProcessLine& line : lines) {
    fmt::print(out, "{}{:>11}{:>6}{:>6}{:>6}{:>6}{:>6}   {}\n", head, line.pid, "C",
               orDash(line.sm), orDash(line.memory), orDash(line.encoder), orDash(line.decoder),
               line.name);
    out.flush();
  }
  if (lines.empty()) out << head << "          -     -     -     -     -     -   -\n" << std::flush;
}

int runProcessMonitor(const PmonOptions& options) {
  DeviceSet selection;
  if (resolveDevices(options.id, selection, std::cout) != 0) return -1;
  const auto delay = readDelayOption(options.delay, kLongestDelay, std::cout);
  if (!delay) return 0;
  const auto count = readCountOption(options.count, std::cout);
  if (!count) return 0;
  const auto letters = readLettersOption(options.options, kProcessMonitorLetters, std::cout);
  if (!letters) {
    std::cout << "\n";
    return -1;
  }
  Output output(given(options.filename) ? options.filename : "");
  if (!output.usable()) {
    fmt::print(std::cout, "Failed to create the log file {}\n", output.fileName());
    return 0;
  }
  const StampColumns stamps{.date = letters->find('D') != std::string::npos,
                            .time = letters->find('T') != std::string::npos};
  runPasses(output, {.periodSeconds = *delay, .passCount = *count}, [&](const Pass& pass) {
    if (pass.number % kHeaderInterval == 0) writeProcessHeader(pass.out, stamps);
    for (std::uint32_t index = 0; index < session().deviceCount; ++index) {
      if (!isSelected(selection, index)) continue;
      session().currentDevice = index;
      const auto lines = processLines(reader().readProcessUsage());
      writeProcessLines(pass.out, stamps, index, lines, pass.start.tv_sec);
    }
  });
  return 0;
}

}  // namespace zanctl
