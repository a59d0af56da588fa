// A line of the stats log, read and written.
#include "stats_log/line_reader.h"
#include "stats_log/stats_format.h"
#include "target.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

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
  std::array<std::uint32_t, 8> values{};
  for (std::uint32_t& value : values) value = fuzz::take<std::uint32_t>(bytes);
  const auto [power, temperature, gpuUtil, memUtil, encUtil, decUtil, smClock, memClock] = values;
  const MonitorReading reading{power,   temperature, gpuUtil,  memUtil, encUtil,
                               decUtil, smClock,     memClock, {},      {}};
  std::string line = statsLine(timeText(time), gpu, reading);
  expect(line.ends_with('\n') && line.size() <= LineReader::kLongestLine, "a line is a line");
  line.pop_back();
  const auto record = parseStatsLine(line);
  if (static_cast<std::int32_t>(temperature) < 0) {
    return expect(!record, "a line without a temperature is no record");
  }
  const bool fits = std::all_of(values.begin() + 1, values.end(), isCell) &&
                    (power == kUnavailable || isCell(power));
  if (fits)
    expect(record && record->time == time && record->gpu == gpu, "a record reads as written");
}

}  // namespace

void fuzz::examine(std::string_view input) {
  checkTime(input);
  checkLine(input);
  checkReading(input);
}
