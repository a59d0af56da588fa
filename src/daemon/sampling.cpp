#include "daemon/sampling.h"

#include "daemon/stats_format.h"
#include "device/board_power.h"
#include "device/readers.h"
#include "device/time.h"

#include <fmt/format.h>

#include <utility>

namespace zanctl {
namespace {

constexpr std::uint32_t kHeaderCycles = 40;

}  // namespace

Sampling::Sampling(StatsLog log, DeviceSet selection)
    : log_(std::move(log)), selection_(std::move(selection)) {}

CycleEnd Sampling::runCycle(std::time_t now) {
  // One reading of the clock, so that the file's date and the lines' time always agree.
  const std::string stamp = dateTimeStamp(now);
  const std::size_t blank = stamp.find(' ');
  if (!followDay(stamp.substr(0, blank))) return CycleEnd::notCreated;
  if (!writeCycle(stamp.substr(blank + 1))) return CycleEnd::notWritten;
  cycle_ = (cycle_ + 1) % kHeaderCycles;
  return log_.exists() ? CycleEnd::written : CycleEnd::notWritten;
}

bool Sampling::followDay(std::string_view date) {
  if (log_.date() == date) return true;
  const bool isFirst = log_.date().empty();
  cycle_ = 0;
  return log_.open(date, isFirst ? StatsLog::Existing::appendIfValid : StatsLog::Existing::append);
}

bool Sampling::writeCycle(std::string_view time) {
  boardPowerTable().clear();
  if (cycle_ == 0 && !log_.write(fmt::format("{}\n{}\n", kStatsHeader1, kStatsHeader2))) {
    return false;
  }
  bool written = true;
  forEachDevice(selection_, [&](std::uint32_t index) {
    const MonitorReading reading = reader().readMonitorSample(kMonitorLineParts);
    written = written && log_.write(statsLine(time, index, reading));
  });
  return written;
}

}  // namespace zanctl
