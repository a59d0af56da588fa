#include "daemon/sampling.h"

#include "device/board_power.h"
#include "device/readers.h"
#include "device/time.h"
#include "stats_log/stats_format.h"

#include <fmt/format.h>

#include <utility>

namespace zanctl {
namespace {

constexpr std::uint32_t kHeaderCycles = 40;

// Whether the GPU told anything of what is logged.
bool isAnswer(const MonitorReading& reading) {
  return reading.power || reading.temperature || reading.gpuUtil || reading.encUtil ||
         reading.decUtil || reading.memClock || reading.smClock;
}

// A line with a second of 60, which a time zone with leap seconds has, would not be valid.
std::string timeOfLines(std::string time) {
  if (time.ends_with(":60")) time.replace(time.size() - 2, 2, "59");
  return time;
}

}  // namespace

Sampling::Sampling(StatsLog log, DeviceSet selection)
    : log_(std::move(log)), selection_(std::move(selection)) {}

CycleEnd Sampling::runCycle(std::time_t now) {
  // One reading of the clock, so that the file's date and the lines' time always agree.
  const std::string stamp = dateTimeStamp(now);
  const std::size_t blank = stamp.find(' ');
  switch (followDay(stamp.substr(0, blank))) {
    case FileOpening::refused:
      return CycleEnd::notCreated;
    case FileOpening::inUse:
      return CycleEnd::inUse;
    case FileOpening::opened:
      break;
  }
  if (!writeCycle(timeOfLines(stamp.substr(blank + 1)))) return CycleEnd::notWritten;
  cycle_ = (cycle_ + 1) % kHeaderCycles;
  return log_.exists() ? CycleEnd::written : CycleEnd::notWritten;
}

FileOpening Sampling::followDay(std::string_view date) {
  if (log_.date() == date) return FileOpening::opened;
  const bool isFirst = log_.date().empty();
  cycle_ = 0;
  return log_.open(date, isFirst ? StatsLog::Existing::appendIfValid : StatsLog::Existing::append);
}

bool Sampling::writeCycle(std::string_view time) {
  if (cycle_ == 0 && !log_.write(fmt::format("{}\n{}\n", kStatsHeader1, kStatsHeader2))) {
    return false;
  }
  std::string silent;
  switch (sampleGpus(time, silent)) {
    case Samples::written:
      return true;
    case Samples::notWritten:
      return false;
    case Samples::silent:
      break;
  }
  // The driver may have been unloaded, and perhaps loaded again, since the session began.
  closeSession();
  openSession(0);
  silent.clear();
  return sampleGpus(time, silent) != Samples::notWritten && (silent.empty() || log_.write(silent));
}

Sampling::Samples Sampling::sampleGpus(std::string_view time, std::string& silent) {
  boardPowerTable().clear();
  Samples samples = Samples::silent;
  forEachDevice(selection_, [&](std::uint32_t index) {
    if (samples == Samples::notWritten) return;
    const MonitorReading reading = reader().readMonitorSample(kMonitorLineParts);
    silent += statsLine(time, index, reading);
    if (isAnswer(reading)) samples = Samples::written;
    if (samples == Samples::silent) return;
    if (!log_.write(silent)) samples = Samples::notWritten;
    silent.clear();
  });
  return samples;
}

}  // namespace zanctl
