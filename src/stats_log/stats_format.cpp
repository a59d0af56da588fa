#include "stats_log/stats_format.h"

#include "device/format.h"
#include "output/text.h"
#include "stats_log/line_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace zanctl {
namespace {

bool isDigit(char character) { return character >= '0' && character <= '9'; }

bool isNumber(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

// Of a text of digits; the highest number for one beyond 32 bits.
std::uint32_t numberOf(std::string_view digits) {
  constexpr std::uint64_t kHighest = std::numeric_limits<std::uint32_t>::max();
  std::uint64_t number = 0;
  for (const char digit : digits) {
    number = std::min(number * 10 + static_cast<std::uint64_t>(digit - '0'), kHighest);
  }
  return static_cast<std::uint32_t>(number);
}

enum class Column { time, number, numberOrDash };

// A record's columns in their order: time, gpu, pwr, gtemp, mtemp, sm, mem, enc, dec, mclk, pclk.
constexpr std::size_t kTimeColumn = 0;
constexpr std::size_t kGpuColumn = 1;
constexpr std::array kColumns = {
    Column::time,         Column::number,       Column::numberOrDash, Column::number,
    Column::numberOrDash, Column::numberOrDash, Column::numberOrDash, Column::numberOrDash,
    Column::numberOrDash, Column::number,       Column::number,
};

// Where the fields of a reading stand; that of the memory's temperature is always empty.
using Field = std::optional<std::uint32_t> MonitorReading::*;
constexpr std::array<std::pair<std::size_t, Field>, 8> kReadingColumns = {{
    {2, &MonitorReading::power},
    {3, &MonitorReading::temperature},
    {5, &MonitorReading::gpuUtil},
    {6, &MonitorReading::memUtil},
    {7, &MonitorReading::encUtil},
    {8, &MonitorReading::decUtil},
    {9, &MonitorReading::memClock},
    {10, &MonitorReading::smClock},
}};

bool fits(Column column, std::string_view token) {
  return column == Column::time || isNumber(token) ||
         (column == Column::numberOrDash && token == "-");
}

// The blank-separated word at the start of the text, which loses it; empty when there is none.
std::string_view takeToken(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const std::string_view token = text.substr(0, text.find(' '));
  text.remove_prefix(token.size());
  return token;
}

constexpr std::size_t kCellWidth = 6;

// Numbers of this log are signed.
std::string signedOrDash(std::optional<std::uint32_t> value) {
  value = known(value);
  return orDash(value ? std::optional(static_cast<std::int32_t>(*value)) : std::nullopt);
}

}  // namespace

std::string statsFileName(std::string_view directory, std::string_view suffix,
                          std::string_view date) {
  return fmt::format("{}{}dmon-{}{}{}", directory, directory.ends_with('/') ? "" : "/", date,
                     suffix.empty() ? "" : "-", suffix);
}

std::string statsLine(std::string_view time, std::uint32_t gpu, const MonitorReading& reading) {
  std::string line;
  join(line, " ", time, "   ");
  alignRight(line, 3, Decimal(gpu));
  alignRight(line, kCellWidth, signedOrDash(reading.power));
  alignRight(line, kCellWidth, signedOrDash(reading.temperature));
  alignRight(line, kCellWidth, "-");
  for (const auto& value : {reading.gpuUtil, reading.memUtil, reading.encUtil, reading.decUtil,
                            reading.memClock, reading.smClock}) {
    alignRight(line, kCellWidth, Decimal(value.value_or(0)));
  }
  line += "\n";
  return line;
}

std::optional<TimeOfDay> parseTimeOfDay(std::string_view text) {
  const std::size_t first = text.find(':');
  if (first == std::string_view::npos) return std::nullopt;
  const std::size_t second = text.find(':', first + 1);
  if (second == std::string_view::npos) return std::nullopt;
  const std::array parts = {text.substr(0, first), text.substr(first + 1, second - first - 1),
                            text.substr(second + 1)};
  if (!std::all_of(parts.begin(), parts.end(), isNumber)) return std::nullopt;
  const std::uint32_t hours = numberOf(parts[0]);
  const std::uint32_t minutes = numberOf(parts[1]);
  const std::uint32_t seconds = numberOf(parts[2]);
  if (hours > 23 || minutes > 59 || seconds > 59) return std::nullopt;
  return (hours * 60 + minutes) * 60 + seconds;
}

std::optional<StatsRecord> parseStatsLine(std::string_view line) {
  std::array<std::string_view, kColumns.size()> tokens;
  for (std::size_t column = 0; column < kColumns.size(); ++column) {
    tokens[column] = takeToken(line);
    if (!fits(kColumns[column], tokens[column])) return std::nullopt;
  }
  if (!takeToken(line).empty()) return std::nullopt;
  const auto time = parseTimeOfDay(tokens[kTimeColumn]);
  if (!time) return std::nullopt;
  StatsRecord record{*time, numberOf(tokens[kGpuColumn]), {}};
  for (const auto& [column, field] : kReadingColumns) {
    if (tokens[column] != "-") record.reading.*field = numberOf(tokens[column]);
  }
  return record;
}

StatsValidity validateStats(int descriptor) {
  LineReader reader(descriptor);
  for (std::string_view line;;) {
    switch (reader.next(line)) {
      case LineRead::end:
        return StatsValidity::valid;
      case LineRead::tooLong:
        return StatsValidity::invalid;
      case LineRead::failed:
        return StatsValidity::unreadable;
      case LineRead::line:
        break;
    }
    const bool isHeader = line == kStatsHeader1 || line == kStatsHeader2;
    if (!isHeader && !parseStatsLine(line)) return StatsValidity::invalid;
  }
}

}  // namespace zanctl
