// The daemon subcommand: samples the GPUs in the background, or ends the instance that does.
#pragma once

#include "device/selection.h"
#include "request/options.h"

#include <iosfwd>
#include <optional>
#include <string>

namespace zanctl {

// Refused options make it return -1. Otherwise the calling process ends in here, and what returns,
// also with -1, is its child, the daemon, when it cannot write its log any more.
[[nodiscard]] int runDaemon(const DaemonOptions& options, std::ostream& out);

struct DaemonPlan {
  DeviceSet selection;
  std::string directory;
  std::string suffix;
  unsigned int delaySeconds;  // 1 to 600
  bool terminate;
};

// What the options ask for, with the log's directory created where it was missing. Empty, after
// saying why, when they are refused.
std::optional<DaemonPlan> planDaemon(const DaemonOptions& options, std::ostream& out);

}  // namespace zanctl
