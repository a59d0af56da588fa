// The text of the daily stats log: how the daemon writes it, and what counts as valid when it is
// read again.
#pragma once

#include "device/records.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zanctl {

// The header of the columns. Both lines stand together, each followed by a newline.
inline constexpr std::string_view kStatsHeader1 =
    "#Time       gpu   pwr gtemp mtemp    sm   mem   enc   dec  mclk  pclk";
inline constexpr std::string_view kStatsHeader2 =
    "#HH:MM:SS   Idx     W     C     C     %     %     %     %   MHz   MHz";

// "<directory>/dmon-<date>", and "-<suffix>" behind it unless the suffix is empty. The date is
// "YYYY-MM-DD".
std::string statsFileName(std::string_view directory, std::string_view suffix,
                          std::string_view date);

// The line of one GPU in one sampling cycle, newline included. The time is "HH:MM:SS".
std::string statsLine(std::string_view time, std::uint32_t gpu, const MonitorReading& reading);

// Seconds since midnight, 0 to 86399.
using TimeOfDay = std::uint32_t;

// Reads hours, minutes and seconds, separated by ":" and up to 23:59:59; empty for anything else.
std::optional<TimeOfDay> parseTimeOfDay(std::string_view text);

// Numbers beyond 32 bits read as the highest one.
struct StatsRecord {
  TimeOfDay time;
  std::uint32_t gpu;  // an index
  // What the columns have, in their units; where one has "-" nothing is known.
  MonitorReading reading;
};

// A record line, given without its newline; empty when it is no valid one. A line without a GPU
// temperature is written but not valid.
std::optional<StatsRecord> parseStatsLine(std::string_view line);

enum class StatsValidity { valid, invalid, unreadable };

// Whether the rest of an open file holds nothing but header lines and valid record lines. Reads it
// in blocks, in constant memory.
[[nodiscard]] StatsValidity validateStats(int descriptor);

}  // namespace zanctl
