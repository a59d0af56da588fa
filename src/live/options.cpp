#include "live/options.h"

#include "device/number_text.h"
#include "output/long_options.h"

#include <fmt/format.h>

namespace zanctl::live {
namespace {

using Problem = std::string;  // empty when nothing is wrong

template <typename Value>
Problem take(std::optional<Value>& field, std::optional<Value> value, std::string_view allowed) {
  if (!value) return std::string(allowed);
  field = value;
  return {};
}

auto setTime(TimeOfDay& field) {
  return [&field](const std::string& value) {
    const auto time = parseTimeOfDay(value);
    if (time) field = *time;
    return time ? Problem() : "a time is HH:MM:SS";
  };
}

std::string columnNames() {
  std::string names;
  for (const ColumnFacts& column : kColumns) {
    names += fmt::format("{}{}", names.empty() ? "" : ", ", column.name);
  }
  return names;
}

std::vector<LongOption> optionsInto(Options& o) {
  return {
      {"id", 'i', "GPUS", "Show these GPUs: indices, UUIDs or bus ids, separated by commas",
       [&o](const auto& value) {
         o.gpus = value;
         return o.gpus.empty() ? Problem("a list names a GPU") : Problem();
       }},
      {"delay", 'd', "SECONDS", "Time from one reading to the next, 0.2 to 60 (1)",
       [&o](const auto& value) {
         return take(o.interval, parseInterval(value), "an interval is 0.2 to 60 seconds");
       }},
      {"count", 'n', "COUNT", "End after so many readings",
       [&o](const auto& value) {
         o.count = wholeNumber(value, 10).value_or(0);
         return o.count == 0 ? Problem("a count is a number from 1 on") : Problem();
       }},
      {"sort", 0, "COLUMN", "Sort the processes by this column",
       [&o](const auto& value) {
         return take(o.sort, columnOf(value), "the columns are " + columnNames());
       }},
      {"filter", 0, "TEXT", "Show the processes that hold this text",
       [&o](const auto& value) {
         o.filter = value;
         return Problem();
       }},
      {"log", 0, "FILE", "Show a day that the daemon of zanctl has written",
       [&o](const auto& value) {
         o.log = value;
         return o.log.empty() ? Problem("a file has a name") : Problem();
       }},
      {"begin", 0, "TIME", "Leave out what the log has before HH:MM:SS", setTime(o.begin)},
      {"end", 0, "TIME", "Leave out what it has after HH:MM:SS", setTime(o.end)},
      {"batch", 0, nullptr, "Print plain frames: one, or as many as -n says", setFlag(o.batch)},
      {"graph", 0, "KIND", "Draw graphs with braille, block or ascii characters",
       [&o](const auto& value) {
         return graphKindOf(value, o.graph.emplace()) ? Problem()
                                                      : "the kinds are braille, block and ascii";
       }},
      {"theme", 0, "THEME", "Colours for a dark or a light background",
       [&o](const auto& value) {
         return take(o.theme, themeOf(value), "the themes are dark and light");
       }},
      {"no-colour", 0, nullptr, "Use no colours, as with NO_COLOR in the environment",
       setFlag(o.colours, false)},
      {"no-mouse", 0, nullptr, "Leave the mouse to the terminal", setFlag(o.mouse, false)},
      {"help", 'h', nullptr, "Print this help", setFlag(o.help)},
      {"version", 'V', nullptr, "Print the version", setFlag(o.version)},
  };
}

}  // namespace

std::variant<Options, std::string> parseOptions(std::span<char* const> argv) {
  Options options;
  Problem problem = parseLongOptions(argv, optionsInto(options));
  if (!problem.empty()) return problem;
  if (options.end < options.begin) return "--end is before --begin";
  return options;
}

std::string helpText() {
  Options options;
  return fmt::format(
      "Usage: zantop [OPTION]...\nShow the GPUs of this machine and their processes, live.\n\n"
      "{}\nColumns: {}\n",
      helpOf(optionsInto(options)), columnNames());
}

std::vector<OptionFacts> describeOptions() {
  Options options;
  return factsOf(optionsInto(options));
}

}  // namespace zanctl::live
