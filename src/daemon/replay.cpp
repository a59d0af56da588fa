#include "daemon/replay.h"

#include "daemon/device_list.h"
#include "daemon/playback.h"
#include "device/descriptor.h"
#include "stats_log/line_reader.h"

#include <ostream>

#include <fcntl.h>
#include <unistd.h>

namespace zanctl {
namespace {

constexpr useconds_t kPlaybackPause = 1'000'000;  // microseconds

// Where the option was given, reads it into `time`. False, after saying so, when it is no time.
bool readTimeOption(const std::string& option, const char* which, TimeOfDay& time,
                    std::ostream& out) {
  if (!given(option)) return true;
  const auto parsed = parseTimeOfDay(option);
  if (!parsed) {
    out << "Error in parsing " << which << " time, failed to process command line\n";
    return false;
  }
  time = *parsed;
  return true;
}

bool readRange(const ReplayOptions& options, TimeRange& range, std::ostream& out) {
  if (!readTimeOption(options.begin, "start", range.begin, out)) return false;
  if (!readTimeOption(options.end, "end", range.end, out)) return false;
  if (range.end > range.begin) return true;
  out << "Invalid begin/end time combination, failed to process command line\n";
  return false;
}

void play(const Descriptor& file, Playback playback, std::ostream& out) {
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
        if (!out.flush()) return;
        usleep(kPlaybackPause);
        break;
      case Playback::Answer::print:
        break;
    }
    out << line << '\n';
  }
}

}  // namespace

int runReplay(const ReplayOptions& options, std::ostream& out) {
  DeviceSet selection;
  TimeRange range;
  if (resolveDevicesOrAll(options.id, selection, out) != 0) return -1;
  if (!readRange(options, range, out)) return -1;
  if (!given(options.filename)) return kHelpAsked;
  if (access(options.filename.c_str(), F_OK) != 0) {
    out << "Failed to validate log file\n";
    return -1;
  }
  const Descriptor file(open(options.filename.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.isOpen()) play(file, Playback(range, selection), out);
  return 0;
}

}  // namespace zanctl
