// What is kept from one run to the next.
#pragma once

#include "live/graph.h"
#include "live/process_table.h"

#include <chrono>
#include <optional>
#include <string>

namespace zanctl::live {

// For dark and for light backgrounds.
enum class Theme : std::uint8_t { dark, light };
std::string_view themeName(Theme theme);
std::optional<Theme> themeOf(std::string_view name);

using Interval = std::chrono::milliseconds;
inline constexpr Interval kLeastInterval{200};
inline constexpr Interval kLongestInterval{60'000};

struct Settings {
  Column sort = Column::gpu;
  bool reverse = false;
  ColumnSet hidden = 0;
  std::optional<GraphKind> graph;  // empty for what the terminal can show
  Theme theme = Theme::dark;
  Interval interval{1000};
  bool operator==(const Settings&) const = default;
};

// Seconds with a decimal point, "0.2" to "60"; empty for anything else.
std::optional<Interval> parseInterval(std::string_view text);
std::string intervalText(Interval interval);  // "0.2", "1", "60"

// "NAME = VALUE" a line. Returns what is wrong, with the number of the line; empty when nothing is.
// The settings are changed only then.
std::string readSettings(std::string_view text, Settings& settings);
std::string writeSettings(const Settings& settings);

// "$XDG_CONFIG_HOME/zantop/config", else below "~/.config"; empty without a home.
std::string settingsFile();
// Both return what is wrong; empty when nothing is, also where there is no file yet. A file that
// cannot be used leaves the settings as they are.
std::string loadSettings(const std::string& file, Settings& settings);
std::string saveSettings(const std::string& file, const Settings& settings);

}  // namespace zanctl::live
