// Which lines of a log a replay shows, and where it pauses. The first bytes of the input are the
// range and the GPUs selected.
#include "daemon/playback.h"

#include "target.h"

#include <set>

namespace {

using namespace zanctl;
using fuzz::expect;

constexpr TimeOfDay kDay = 24 * 60 * 60;

class Audience {
 public:
  void seeHeader(bool shown, bool isSecondLine, bool lastReadIsInRange) {
    if (!anyRead_) expect(shown, "the headers above the first record are shown");
    if (!shown) return;
    expect(!anyRead_ || lastReadIsInRange, "no header follows a record out of range");
    expect(!anyRead_ || shownSinceHeader_, "no header is repeated without a record between");
    if (isSecondLine) shownSinceHeader_ = false;
    headerSinceRecord_ = true;
  }

  void seeRecord(std::uint32_t gpu, bool paused) {
    if (paused) {
      expect(anyShown_, "there is no pause before the first record");
      expect(headerSinceRecord_ || cycle_.contains(gpu), "a pause comes between two cycles");
      cycle_.clear();
    }
    expect(cycle_.insert(gpu).second, "a GPU appears once in a cycle");
    expect(paused || !headerSinceRecord_ || !anyShown_, "a header begins a cycle");
    headerSinceRecord_ = false;
    anyShown_ = shownSinceHeader_ = true;
  }

  void noteRecord() { anyRead_ = true; }

 private:
  bool anyRead_ = false;
  bool anyShown_ = false;
  bool shownSinceHeader_ = false;
  bool headerSinceRecord_ = false;
  std::set<std::uint32_t> cycle_;
};

DeviceSet selectionOf(std::uint8_t bits) {
  DeviceSet selection;
  for (int gpu = 0; gpu < 8; ++gpu) {
    if ((bits >> gpu & 1) != 0) selection.insert(gpu);
  }
  return selection;
}

}  // namespace

void fuzz::examine(std::string_view input) {
  const TimeRange range{take<std::uint32_t>(input) % kDay, take<std::uint32_t>(input) % kDay};
  const DeviceSet selection = selectionOf(take<std::uint8_t>(input));
  const auto isInRange = [&range](TimeOfDay time) {
    return time >= range.begin && time <= range.end;
  };
  Playback playback(range, selection);
  Audience audience;
  bool lastReadIsInRange = false;
  bool stopped = false;
  forEachPiece(input, '\n', [&](std::string_view line) {
    if (stopped) return;
    const auto answer = playback.next(line);
    const bool shown =
        answer == Playback::Answer::print || answer == Playback::Answer::pauseAndPrint;
    if (line == kStatsHeader1 || line == kStatsHeader2) {
      expect(answer == Playback::Answer::print || answer == Playback::Answer::skip,
             "a header neither pauses nor stops");
      return audience.seeHeader(shown, line == kStatsHeader2, lastReadIsInRange);
    }
    const auto record = parseStatsLine(line);
    stopped = answer == Playback::Answer::stop;
    expect(stopped == !record.has_value(), "what is no part of a log ends it");
    if (!record) return;
    audience.noteRecord();
    lastReadIsInRange = isInRange(record->time);
    const bool selected =
        selection.empty() || (record->gpu < 8 && selection.contains(static_cast<int>(record->gpu)));
    expect(shown == (lastReadIsInRange && selected), "what is in range and selected is shown");
    if (shown) audience.seeRecord(record->gpu, answer == Playback::Answer::pauseAndPrint);
  });
}
