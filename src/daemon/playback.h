// Which lines of a stats log a replay shows, and when it pauses before one.
#pragma once

#include "device/selection.h"
#include "stats_log/stats_format.h"

#include <optional>
#include <set>
#include <string_view>

namespace zanctl {

struct TimeRange {
  TimeOfDay begin = 0;
  TimeOfDay end = 86'399;  // within the range
};

class Playback {
 public:
  Playback(TimeRange range, DeviceSet selection);

  enum class Answer {
    skip,
    print,
    pauseAndPrint,  // the first line of a sampling cycle, but for the first cycle of all
    stop,           // the line is no part of a log
  };

  // What to do with the next line of the log, given without its newline.
  [[nodiscard]] Answer next(std::string_view line);

 private:
  Answer nextHeader(bool isSecondLine);
  Answer nextRecord(const StatsRecord& record);
  [[nodiscard]] bool isInRange(TimeOfDay time) const;

  TimeRange range_;
  DeviceSet selection_;
  std::optional<TimeOfDay> lastRead_;       // the last record's time, whether it was shown or not
  bool printedSinceHeader_ = false;         // a record, since the last second header line shown
  bool printedAny_ = false;                 // a record
  std::set<std::uint32_t> printedInCycle_;  // GPU indices
};

}  // namespace zanctl
