// What the daemon does in one sampling cycle.
#pragma once

#include "daemon/stats_log.h"
#include "device/selection.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace zanctl {

enum class CycleEnd {
  written,
  notCreated,  // the day's file could not be opened
  inUse,       // another process writes the day's file
  notWritten,  // the day's file vanished or could not be written
};

class Sampling {
 public:
  // Of the selected GPUs. Neither the log nor the session need be open yet.
  Sampling(StatsLog log, DeviceSet selection);

  // Appends one line per GPU to the file of the day, which is opened first when the day is another
  // than the last cycle's; all lines carry the given time. The header comes in the first cycle of a
  // file and in every 40th after it. Where no GPU tells anything, they are asked again in a fresh
  // session, whose lines are the ones that count; there are none without a session.
  [[nodiscard]] CycleEnd runCycle(std::time_t now);

  [[nodiscard]] const StatsLog& log() const { return log_; }

 private:
  [[nodiscard]] FileOpening followDay(std::string_view date);
  [[nodiscard]] bool writeCycle(std::string_view time);

  enum class Samples { written, notWritten, silent };
  // Writes the line of each GPU as soon as one has told anything; lines from before are kept in
  // `silent` until then.
  [[nodiscard]] Samples sampleGpus(std::string_view time, std::string& silent);

  StatsLog log_;
  DeviceSet selection_;
  std::uint32_t cycle_ = 0;  // of the header's turn
};

}  // namespace zanctl
