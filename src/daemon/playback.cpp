#include "daemon/playback.h"

#include <utility>

namespace zanctl {

Playback::Playback(TimeRange range, DeviceSet selection)
    : range_(range), selection_(std::move(selection)) {}

Playback::Answer Playback::next(std::string_view line) {
  if (line == kStatsHeader1 || line == kStatsHeader2) return nextHeader(line == kStatsHeader2);
  const auto record = parseStatsLine(line);
  return record ? nextRecord(*record) : Answer::stop;
}

Playback::Answer Playback::nextHeader(bool isSecondLine) {
  const bool isShown = !lastRead_ || (isInRange(*lastRead_) && printedSinceHeader_);
  if (!isShown) return Answer::skip;
  printedInCycle_.clear();
  if (isSecondLine) printedSinceHeader_ = false;
  return Answer::print;
}

Playback::Answer Playback::nextRecord(const StatsRecord& record) {
  lastRead_ = record.time;
  if (!isInRange(record.time) || !isSelected(selection_, record.gpu)) return Answer::skip;
  if (printedInCycle_.contains(record.gpu)) printedInCycle_.clear();
  const bool beginsCycle = printedInCycle_.empty() && printedAny_;
  printedInCycle_.insert(record.gpu);
  printedSinceHeader_ = printedAny_ = true;
  return beginsCycle ? Answer::pauseAndPrint : Answer::print;
}

bool Playback::isInRange(TimeOfDay time) const {
  return range_.begin <= time && time <= range_.end;
}

}  // namespace zanctl
