#include "monitors/device_monitor.h"

#include "cli/selection.h"
#include "device/readers.h"
#include "device/session.h"
#include "output/pass_loop.h"

#include <fmt/ostream.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <string>

namespace zanctl {
namespace {

constexpr int kLongestDelay = 600;
constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;

// By GPU index, the engine counters of the pass before.
using JpuHistory = std::map<std::uint32_t, zanmlJpuUtilization_t>;

// Cells stand under their heads, which grow with the engine's number.
int widthOf(std::uint32_t engine) { return engine < 10 ? 6 : 7; }
constexpr int kWidthWithoutEngines = 5;

void writeEngineHeads(std::ostream& out, const EngineColumns& columns, std::string_view kind) {
  if (!columns.shown) return;
  if (columns.engines == 0) fmt::print(out, "{:>{}}", kind, kWidthWithoutEngines);
  for (std::uint32_t engine = 0; engine < columns.engines; ++engine) {
    fmt::print(out, "{:>{}}", fmt::format("{}{}", kind, engine), widthOf(engine));
  }
}

void writeEngineUnits(std::ostream& out, const EngineColumns& columns) {
  if (!columns.shown) return;
  if (columns.engines == 0) fmt::print(out, "{:>{}}", "%", kWidthWithoutEngines);
  for (std::uint32_t engine = 0; engine < columns.engines; ++engine) {
    fmt::print(out, "{:>{}}", "%", widthOf(engine));
  }
}

void writeEngineCells(std::ostream& out, const EngineColumns& columns, const EngineShares& shares) {
  if (!columns.shown) return;
  if (columns.engines == 0) fmt::print(out, "{:>{}}", "-", kWidthWithoutEngines);
  for (std::uint32_t engine = 0; engine < columns.engines; ++engine) {
    const auto share = engine < shares.size() ? shares[engine] : std::nullopt;
    fmt::print(out, "{:>{}}", share ? fmt::to_string(*share) : "-", widthOf(engine));
  }
}

std::string orDash(std::uint32_t value) {
  return value == kUnavailable ? "-" : fmt::to_string(value);
}

EngineColumns findColumns(const DeviceSet& selection, bool shown, std::uint32_t (*engineCount)()) {
  EngineColumns columns{.shown = shown};
  for (std::uint32_t index = 0; shown && index < session().deviceCount; ++index) {
    if (!isSelected(selection, index)) continue;
    session().currentDevice = index;
    columns.engines = std::max(columns.engines, engineCount());
  }
  return columns;
}

MonitorLine readLine(std::uint32_t index, const MonitorColumns& columns, JpuHistory& history,
                     std::uint64_t periodSeconds) {
  session().currentDevice = index;
  MonitorLine line{index, reader().readMonitorSample(), {}, {}};
  if (columns.jpu.shown) {
    const zanmlJpuUtilization_t now = reader().readJpuUtilization();
    line.jpu = jpuShares(history[index], now, periodSeconds);
    history[index] = now;
  }
  if (columns.vpu.shown) line.vpu = vpuShares(reader().readVpuUtilization());
  return line;
}

int monitorPasses(Output& output, const LoopPlan& plan, const DeviceSet& selection,
                  const MonitorColumns& columns) {
  JpuHistory history;
  const auto runPass = [&](const Pass& pass) {
    if (pass.number % kHeaderInterval == 0) writeMonitorHeader(pass.out, columns);
    for (std::uint32_t index = 0; index < session().deviceCount; ++index) {
      if (!isSelected(selection, index)) continue;
      const MonitorLine line = readLine(index, columns, history, plan.periodSeconds);
      writeMonitorLine(pass.out, columns, line, pass.start.tv_sec);
    }
  };
  return runPasses(output, plan, runPass) == LoopEnd::finished ? 0 : -1;
}

}  // namespace

EngineShares jpuShares(const zanmlJpuUtilization_t& before, const zanmlJpuUtilization_t& now,
                       std::uint64_t periodSeconds) {
  const std::uint64_t period = periodSeconds * kNanosecondsPerSecond;
  EngineShares shares(now.count);
  for (std::uint32_t engine = 0; engine < std::min(before.count, now.count); ++engine) {
    // A counter behind its last reading has begun anew.
    const std::uint64_t last = before.busyTime[engine];
    const std::uint64_t busy = now.busyTime[engine] < last ? 0 : now.busyTime[engine] - last;
    shares[engine] = (std::min(busy, period) * 100 + period / 2) / period;
  }
  return shares;
}

EngineShares vpuShares(const zanmlVpuUtilization_t& now) {
  EngineShares shares(now.count);
  for (std::uint32_t engine = 0; engine < now.count; ++engine) {
    const float share =
        static_cast<float>(now.busy[engine]) * 100.0F / static_cast<float>(now.total);
    shares[engine] = now.total == 0 ? 0 : static_cast<std::uint64_t>(share);
  }
  return shares;
}

void writeMonitorHeader(std::ostream& out, const MonitorColumns& columns) {
  out << stampHeader(columns.stamps, HeaderLine::names)
      << "gpu   pwr gtemp mtemp    sm   mem   enc   dec  mclk  pclk";
  writeEngineHeads(out, columns.jpu, "jpu");
  writeEngineHeads(out, columns.vpu, "vpu");
  out << "\n"
      << stampHeader(columns.stamps, HeaderLine::units)
      << "Idx     W     C     C     %     %     %     %   MHz   MHz";
  writeEngineUnits(out, columns.jpu);
  writeEngineUnits(out, columns.vpu);
  out << "\n";
}

void writeMonitorLine(std::ostream& out, const MonitorColumns& columns, const MonitorLine& line,
                      std::time_t time) {
  const MonitorReading& reading = line.reading;
  fmt::print(out, "{}{:>3}{:>6}{:>6}{:>6}{:>6}{:>6}{:>6}{:>6}{:>6}{:>6}",
             stampCells(columns.stamps, time), line.gpuIndex, orDash(reading.power),
             orDash(reading.temperature), "-", reading.gpuUtil, reading.memUtil, reading.encUtil,
             reading.decUtil, reading.memClock, reading.smClock);
  writeEngineCells(out, columns.jpu, line.jpu);
  writeEngineCells(out, columns.vpu, line.vpu);
  out << "\n" << std::flush;
}

int runDeviceMonitor(const DmonOptions& options) {
  DeviceSet selection;
  if (resolveDevices(options.id, selection, std::cout) != 0) return -1;
  const auto delay = readDelayOption(options.delay, kLongestDelay, std::cout);
  if (!delay) return -1;
  const auto count = readCountOption(options.count, std::cout);
  if (!count) return -1;
  const auto letters = readLettersOption(options.options, kDeviceMonitorLetters, std::cout);
  if (!letters) return -1;
  Output output(given(options.filename) ? options.filename : "");
  if (!output.usable()) {
    fmt::print(std::cout, "Failed to create the log file {}\n", output.fileName());
    return 0;
  }
  const auto isOn = [&letters](char letter) { return letters->find(letter) != std::string::npos; };
  const MonitorColumns columns{
      .stamps = {.date = isOn('D'), .time = isOn('T')},
      .jpu = findColumns(selection, isOn('J'), [] { return reader().readJpuUtilization().count; }),
      .vpu = findColumns(selection, isOn('V'), [] { return reader().readVpuUtilization().count; }),
  };
  return monitorPasses(output, {.periodSeconds = *delay, .passCount = *count}, selection, columns);
}

}  // namespace zanctl
