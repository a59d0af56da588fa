#include "daemon/replay.h"

#include "daemon/descriptor.h"
#include "daemon/device_list.h"
#include "daemon/line_reader.h"
#include "daemon/playback.h"

#include <fmt/ostream.h>

#include <iostream>

#include <fcntl.h>
#include <unistd.h>

namespace zanctl {
namespace {

constexpr useconds_t kPauseMicroseconds = 1'000'000;

// Where the option was given, reads it into `time`. False, after saying so, when it is no time.
bool readTimeOption(const std::string& option, const char* which, TimeOfDay& time) {
  if (!given(option)) return true;
  const auto parsed = parseTimeOfDay(option);
  if (!parsed) {
    fmt::print(std::cout, "Error in parsing {} time, failed to process command line\n", which);
    return false;
  }
  time = *parsed;
  return true;
}

bool readRange(const ReplayOptions& options, TimeRange& range) {
  if (!readTimeOption(options.begin, "start", range.begin)) return false;
  if (!readTimeOption(options.end, "end", range.end)) return false;
  if (range.end > range.begin) return true;
  std::cout << "Invalid begin/end time combination, failed to process command line\n";
  return false;
}

void play(const Descriptor& file, Playback playback) {
  LineReader reader(file.number());
  for (std::string_view line; reader.next(line) == LineRead::line;) {
    switch (playback.next(line)) {
      case Playback::Answer::skip:
        continue;
      case Playback::Answer::stop:
        return;
      case Playback::Answer::pauseAndPrint:
        // What was printed so far is seen during the pause, and nobody is left to see the rest
        // when it cannot be.
        if (!std::cout.flush()) return;
        usleep(kPauseMicroseconds);
        break;
      case Playback::Answer::print:
        break;
    }
    std::cout << line << '\n';
  }
}

}  // namespace

int runReplay(const ReplayOptions& options, const std::string& help) {
  DeviceSet selection;
  TimeRange range;
  if (resolveDevicesOrAll(options.id, selection, std::cout) != 0) return -1;
  if (!readRange(options, range)) return -1;
  if (!given(options.filename)) {
    std::cout << help;
    return 0;
  }
  if (access(options.filename.c_str(), F_OK) != 0) {
    std::cout << "Failed to validate log file\n";
    return -1;
  }
  const Descriptor file(open(options.filename.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.isOpen()) play(file, Playback(range, selection));
  return 0;
}

}  // namespace zanctl
