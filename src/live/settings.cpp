#include "live/settings.h"

#include "device/descriptor.h"
#include "device/number_text.h"
#include "output/replace_file.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zanctl::live {
namespace {

constexpr std::array<std::string_view, 2> kThemes = {"dark", "light"};
constexpr std::size_t kLongestFile = 65'536;

bool takeHidden(Settings& settings, std::string_view text) {
  settings.hidden = 0;
  while (!text.empty()) {
    const std::string_view name = text.substr(0, text.find(','));
    text.remove_prefix(std::min(name.size() + 1, text.size()));
    const auto column = columnOf(name);
    if (!column || factsOf(*column).rank == 0) return false;
    settings.hidden |= bitOf(*column);
  }
  return true;
}

std::string hiddenText(const Settings& settings) {
  std::string text;
  for (std::size_t i = 0; i < kColumnCount; ++i) {
    if ((settings.hidden & bitOf(static_cast<Column>(i))) == 0) continue;
    text += fmt::format("{}{}", text.empty() ? "" : ",", kColumns[i].name);
  }
  return text;
}

template <typename Value>
bool takeValue(std::optional<Value> parsed, Value& value) {
  if (parsed) value = *parsed;
  return parsed.has_value();
}

struct Setting {
  std::string_view name;
  bool (*take)(Settings& settings, std::string_view text);
  std::string (*text)(const Settings& settings);  // empty where nothing need be written
};

constexpr std::array<Setting, 6> kSettings = {{
    {"sort", [](Settings& s, std::string_view text) { return takeValue(columnOf(text), s.sort); },
     [](const Settings& s) { return std::string(factsOf(s.sort).name); }},
    {"reverse",
     [](Settings& s, std::string_view text) {
       s.reverse = text == "yes";
       return text == "yes" || text == "no";
     },
     [](const Settings& s) { return std::string(s.reverse ? "yes" : "no"); }},
    {"hide", takeHidden, hiddenText},
    {"graph",
     [](Settings& s, std::string_view text) { return graphKindOf(text, s.graph.emplace()); },
     [](const Settings& s) { return s.graph ? std::string(graphName(*s.graph)) : std::string(); }},
    {"theme", [](Settings& s, std::string_view text) { return takeValue(themeOf(text), s.theme); },
     [](const Settings& s) { return std::string(themeName(s.theme)); }},
    {"interval",
     [](Settings& s, std::string_view text) { return takeValue(parseInterval(text), s.interval); },
     [](const Settings& s) { return intervalText(s.interval); }},
}};

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

bool takeLine(std::string_view line, Settings& settings) {
  if (line.empty() || line.front() == '#') return true;
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return false;
  const std::string_view name = trimmed(line.substr(0, equals));
  for (const Setting& setting : kSettings) {
    if (setting.name == name) return setting.take(settings, trimmed(line.substr(equals + 1)));
  }
  return false;
}

// With all directories above it.
void makeDirectoryOf(const std::string& file) {
  for (std::size_t at = file.find('/', 1); at != std::string::npos; at = file.find('/', at + 1)) {
    mkdir(file.substr(0, at).c_str(), 0700);
  }
}

}  // namespace

std::string_view themeName(Theme theme) { return kThemes[static_cast<std::size_t>(theme)]; }

std::optional<Theme> themeOf(std::string_view name) {
  for (std::size_t i = 0; i < kThemes.size(); ++i) {
    if (kThemes[i] == name) return static_cast<Theme>(i);
  }
  return std::nullopt;
}

std::optional<Interval> parseInterval(std::string_view text) {
  const std::string_view seconds = text.substr(0, text.find('.'));
  std::string_view fraction = text.substr(seconds.size());
  if (!fraction.empty()) fraction.remove_prefix(1);
  const auto whole = wholeNumber(seconds, 10);
  if (!whole || *whole > 60 || fraction.size() > 3 || text.ends_with('.')) return std::nullopt;
  std::uint64_t milliseconds = *whole * 1000;
  if (!fraction.empty()) {
    const auto part =
        wholeNumber(std::string(fraction) + std::string(3 - fraction.size(), '0'), 10);
    if (!part) return std::nullopt;
    milliseconds += *part;
  }
  const Interval interval(milliseconds);
  if (interval < kLeastInterval || interval > kLongestInterval) return std::nullopt;
  return interval;
}

std::string intervalText(Interval interval) {
  return fmt::format("{}", static_cast<double>(interval.count()) / 1000);
}

std::string readSettings(std::string_view text, Settings& settings) {
  Settings read;
  for (int number = 1; !text.empty(); ++number) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (!takeLine(trimmed(line), read)) return fmt::format("line {} is no setting", number);
  }
  settings = read;
  return {};
}

std::string writeSettings(const Settings& settings) {
  std::string text = "# What zantop was left with; it writes this file when it ends.\n";
  for (const Setting& setting : kSettings) {
    const std::string value = setting.text(settings);
    if (!value.empty()) text += fmt::format("{} = {}\n", setting.name, value);
  }
  return text;
}

std::string settingsFile() {
  const char* const config = std::getenv("XDG_CONFIG_HOME");
  if (config != nullptr && config[0] == '/') return std::string(config) + "/zantop/config";
  const char* const home = std::getenv("HOME");
  if (home == nullptr || home[0] != '/') return {};
  return std::string(home) + "/.config/zantop/config";
}

std::string loadSettings(const std::string& file, Settings& settings) {
  if (file.empty()) return {};
  const Descriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!opened.isOpen()) {
    return errno == ENOENT ? "" : fmt::format("{}: {}", file, std::strerror(errno));
  }
  std::string text(kLongestFile, '\0');
  const ssize_t got = read(opened.number(), text.data(), text.size());
  if (got < 0) return fmt::format("{}: {}", file, std::strerror(errno));
  text.resize(static_cast<std::size_t>(got));
  const std::string problem = readSettings(text, settings);
  return problem.empty() ? "" : fmt::format("{}: {}; the file is ignored", file, problem);
}

std::string saveSettings(const std::string& file, const Settings& settings) {
  if (file.empty()) return {};
  makeDirectoryOf(file);
  return replaceFile(file, writeSettings(settings));
}

}  // namespace zanctl::live
