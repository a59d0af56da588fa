// The launcher's command line.
#pragma once

#include "description/signal.h"

#include <optional>
#include <string>
#include <vector>

namespace zansim {

struct Options {
  std::string host = "eight-gpu";
  std::string state;  // empty: a directory of this run's own
  std::optional<long> uid;
  std::string trace;
  std::optional<Time> startTime;
  bool virtualClock = false;
  std::optional<std::string> check;
  bool list = false;
  bool example = false;
  bool showState = false;
  std::vector<std::string> settings;
  std::vector<std::string> command;  // empty: the user's shell
};

// What to do with the command line: run with these options, or end with this status because a help
// or an error has been printed.
struct ParsedOptions {
  Options options;
  std::optional<int> exitStatus;
};

ParsedOptions parseOptions(int argc, char** argv);

// "YYYY-MM-DD HH:MM:SS" in local time. Throws std::runtime_error with the reason when it is no such
// time, or one that a Time cannot hold.
Time parseLocalTime(const std::string& text);

}  // namespace zansim
