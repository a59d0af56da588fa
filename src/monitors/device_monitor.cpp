#include "monitors/device_monitor.h"

#include "device/attributes.h"
#include "device/board_power.h"
#include "device/format.h"
#include "device/readers.h"
#include "device/selection.h"
#include "output/pass_loop.h"
#include "output/text.h"
#include "request/option_values.h"

#include <algorithm>
#include <map>

namespace zanctl {
namespace {

constexpr std::uint64_t kLongestDeviceDelay = 600;
constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;

// By GPU index, the engine counters of the pass before.
using JpuHistory = std::map<std::uint32_t, zanmlJpuUtilization_t>;

// Cells stand under their heads, which grow with the engine's number.
std::size_t widthOf(std::uint32_t engine) { return engine < 10 ? 6 : 7; }
constexpr std::size_t kWidthWithoutEngines = 5;

// Writes a right-aligned cell for each engine, or one where no GPU has any.
template <typename CellOf>
void writeEngineCells(std::string& text, const EngineColumns& columns, const CellOf& cellOf) {
  if (!columns.shown) return;
  if (columns.engines == 0) alignRight(text, kWidthWithoutEngines, cellOf(std::nullopt));
  for (std::uint32_t engine = 0; engine < columns.engines; ++engine) {
    alignRight(text, widthOf(engine), cellOf(engine));
  }
}

void writeEngineHeads(std::string& text, const EngineColumns& columns, std::string_view kind) {
  writeEngineCells(text, columns, [kind](std::optional<std::uint32_t> engine) {
    return std::string(kind) + (engine ? std::to_string(*engine) : "");
  });
}

void writeEngineUnits(std::string& text, const EngineColumns& columns) {
  writeEngineCells(text, columns, [](std::optional<std::uint32_t>) { return "%"; });
}

void writeEngineShares(std::string& text, const EngineColumns& columns,
                       const EngineShares& shares) {
  writeEngineCells(text, columns, [&shares](std::optional<std::uint32_t> engine) {
    return orDash(engine && *engine < shares.size() ? shares[*engine] : std::nullopt);
  });
}

EngineColumns findColumns(const DeviceSet& selection, bool shown, std::uint32_t (*engineCount)()) {
  EngineColumns columns{.shown = shown};
  if (!shown) return columns;
  forEachDevice(selection,
                [&](std::uint32_t) { columns.engines = std::max(columns.engines, engineCount()); });
  return columns;
}

// Without an engine when unavailable.
template <typename Engines>
Engines readEngines(std::optional<Engines> (*attribute)()) {
  Engines engines = attribute().value_or(Engines{});
  engines.count = std::min(engines.count, kZanmlMaxEngines);
  return engines;
}
zanmlJpuUtilization_t readJpu() { return readEngines(attributes::jpuUtilization); }
zanmlVpuUtilization_t readVpu() { return readEngines(attributes::vpuUtilization); }

MonitorLine readLine(std::uint32_t index, const MonitorColumns& columns, JpuHistory& history,
                     std::uint64_t periodSeconds) {
  MonitorLine line{index, reader().readMonitorSample(kMonitorLineParts), {}, {}};
  if (columns.jpu.shown) {
    const zanmlJpuUtilization_t now = readJpu();
    line.jpu = jpuShares(history[index], now, periodSeconds);
    history[index] = now;
  }
  if (columns.vpu.shown) line.vpu = vpuShares(readVpu());
  return line;
}

LoopEnd monitorPasses(Output& output, const LoopPlan& plan, const DeviceSet& selection,
                      const MonitorColumns& columns) {
  JpuHistory history;
  return runPasses(output, plan, [&](const Pass& pass) {
    boardPowerTable().clear();
    if (pass.number % kHeaderInterval == 0) writeMonitorHeader(pass.text(), columns);
    forEachDevice(selection, [&](std::uint32_t index) {
      const MonitorLine line = readLine(index, columns, history, plan.periodSeconds);
      writeMonitorLine(pass.text(), columns, line, pass.start.tv_sec);
      pass.output.flush();
    });
  });
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

void writeMonitorHeader(std::string& text, const MonitorColumns& columns) {
  join(text, stampHeader(columns.stamps, HeaderLine::names),
       "gpu   pwr gtemp mtemp    sm   mem   enc   dec  mclk  pclk");
  writeEngineHeads(text, columns.jpu, "jpu");
  writeEngineHeads(text, columns.vpu, "vpu");
  join(text, "\n", stampHeader(columns.stamps, HeaderLine::units),
       "Idx     W     C     C     %     %     %     %   MHz   MHz");
  writeEngineUnits(text, columns.jpu);
  writeEngineUnits(text, columns.vpu);
  join(text, "\n");
}

void writeMonitorLine(std::string& text, const MonitorColumns& columns, const MonitorLine& line,
                      std::time_t time) {
  const MonitorReading& reading = line.reading;
  text += stampCells(columns.stamps, time);
  alignRight(text, 3, Decimal(line.gpuIndex));
  alignRight(text, kCellWidth, orDash(known(reading.power)));
  alignRight(text, kCellWidth, orDash(known(reading.temperature)));
  alignRight(text, kCellWidth, "-");
  for (const auto& value : {reading.gpuUtil, reading.memUtil, reading.encUtil, reading.decUtil,
                            reading.memClock, reading.smClock}) {
    alignRight(text, kCellWidth, Decimal(value.value_or(0)));
  }
  writeEngineShares(text, columns.jpu, line.jpu);
  writeEngineShares(text, columns.vpu, line.vpu);
  join(text, "\n");
}

int runDeviceMonitor(const DmonOptions& options, std::ostream& out) {
  DeviceSet selection;
  if (resolveDevices(options.id, selection, out) != 0) return -1;
  const auto delay = readDelay(options.delay, kDefaultDelay, kLongestDeviceDelay, out);
  if (!delay) return -1;
  const auto count = readCount(options.count, out);
  if (!count) return -1;
  const auto letters = readLetters(options.options, kDeviceMonitorLetters, out);
  if (!letters) return -1;
  auto output = openOutput(options.filename, out);
  if (!output) return 0;
  const auto isOn = [&letters](char letter) { return letters->find(letter) != std::string::npos; };
  const MonitorColumns columns{
      .stamps = stampColumns(*letters),
      .jpu = findColumns(selection, isOn('J'), [] { return readJpu().count; }),
      .vpu = findColumns(selection, isOn('V'), [] { return readVpu().count; }),
  };
  return statusOf(
      monitorPasses(*output, {.periodSeconds = *delay, .passCount = *count}, selection, columns));
}

}  // namespace zanctl
