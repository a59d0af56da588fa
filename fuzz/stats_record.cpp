// A line of the stats log, read and written.
#include "daemon/line_reader.h"
#include "daemon/stats_format.h"
#include "target.h"

#include <fmt/format.h>

namespace {

using namespace zanctl;
using fuzz::expect;

constexpr TimeOfDay kDay = 24 * 60 * 60;

std::string timeText(TimeOfDay time) {
  return fmt::format("{:02}:{:02}:{:02}", time / 3600, time / 60 % 60, time % 60);
}

bool isSame(const std::optional<StatsRecord>& a, const std::optional<StatsRecord>& b) {
  return a && b && a->time == b->time && a->gpu == b->gpu;
}

void checkTime(std::string_view text) {
  const auto time = parseTimeOfDay(text);
  if (!time) return;
  expect(*time < kDay, "a time lies within the day");
  expect(parseTimeOfDay(timeText(*time)) == time, "a time reads as it is written");
}

void checkLine(std::string_view line) {
  std::string narrow;
  std::string wide;
  std::size_t tokens = 0;
  fuzz::forEachPiece(line, ' ', [&](std::string_view token) {
    if (token.empty()) return;
    narrow += std::string(tokens == 0 ? "" : " ") + std::string(token);
    wide += "  " + std::string(token) + " ";
    ++tokens;
  });
  const auto record = parseStatsLine(line);
  expect(record.has_value() == parseStatsLine(narrow).has_value(), "blanks do not matter");
  if (!record) return;
  expect(tokens == 11, "a record has eleven columns");
  expect(isSame(record, parseStatsLine(narrow)), "blanks do not matter");
  expect(isSame(record, parseStatsLine(wide)), "blanks do not matter");
  expect(record->time < kDay, "a time lies within the day");
  expect(!parseStatsLine(narrow + " 1") && !parseStatsLine(narrow.substr(0, narrow.rfind(' '))),
         "a column more or less makes no record");
  expect(line.find_first_not_of("0123456789:- ") == std::string_view::npos,
         "a record is made of digits, colons, dashes and blanks");
}

// A cell is six wide, so that more digits run into the column before.
bool isCell(std::uint32_t value) { return value < 100'000; }

void checkReading(std::string_view bytes) {
  const TimeOfDay time = fuzz::take<std::uint32_t>(bytes) % kDay;
  const auto gpu = fuzz::take<std::uint32_t>(bytes);
  const auto reading = fuzz::take<MonitorReading>(bytes);
  std::string line = statsLine(timeText(time), gpu, reading);
  expect(line.ends_with('\n') && line.size() <= LineReader::kLongestLine, "a line is a line");
  line.pop_back();
  const auto record = parseStatsLine(line);
  const auto temperature = static_cast<std::int32_t>(reading.temperature);
  if (temperature < 0) return expect(!record, "a line without a temperature is no record");
  const auto cells = {reading.temperature, reading.gpuUtil,  reading.memUtil, reading.encUtil,
                      reading.decUtil,     reading.memClock, reading.smClock};
  const bool fits = std::all_of(cells.begin(), cells.end(), isCell) &&
                    (reading.power == kUnavailable || isCell(reading.power));
  if (fits)
    expect(record && record->time == time && record->gpu == gpu, "a record reads as written");
}

}  // namespace

void fuzz::examine(std::string_view input) {
  checkTime(input);
  checkLine(input);
  checkReading(input);
}
