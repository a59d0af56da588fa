#include "live/options.h"

#include "device/number_text.h"
#include "output/long_options.h"

#include <fmt/format.h>

#include <vector>

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
    return time ? Problem() : Problem("a time is HH:MM:SS");
  };
}

std::string columnNames() {
  std::string names;
  for (const ColumnFacts& column : kColumns) {
    names += fmt::format("{}{}", names.empty() ? "" : ", ", column.name);
  }
  return names;
}

std::vector<LongOption> optionsInto(Options& options) {
  return {
      {"id", 'i', "GPUS", "Show these GPUs: indices, UUIDs or bus ids, separated by commas",
       setText(options.gpus, "a list names a GPU")},
      {"delay", 'd', "SECONDS", "Time from one reading to the next, 0.2 to 60 (1)",
       [&options](const auto& value) {
         return take(options.interval, parseInterval(value), "an interval is 0.2 to 60 seconds");
       }},
      {"count", 'n', "COUNT", "End after so many readings",
       [&options](const auto& value) {
         options.count = wholeNumber(value, 10).value_or(0);
         return options.count == 0 ? Problem("a count is a number from 1 on") : Problem();
       }},
      {"sort", 0, "COLUMN", "Sort the processes by this column",
       [&options](const auto& value) {
         return take(options.sort, columnOf(value), "the columns are " + columnNames());
       }},
      {"filter", 0, "TEXT", "Show the processes that hold this text",
       [&options](const auto& value) {
         options.filter = value;
         return Problem();
       }},
      {"log", 0, "FILE", "Show a day that the daemon of zanctl has written", setFile(options.log)},
      {"begin", 0, "TIME", "Leave out what the log has before HH:MM:SS", setTime(options.begin)},
      {"end", 0, "TIME", "Leave out what it has after HH:MM:SS", setTime(options.end)},
      {"batch", 0, nullptr, "Print plain frames: one, or as many as -n says",
       setFlag(options.batch)},
      {"graph", 0, "KIND", "Draw graphs with braille, block or ascii characters",
       [&options](const auto& value) {
         return graphKindOf(value, options.graph.emplace())
                    ? Problem()
                    : Problem("the kinds are braille, block and ascii");
       }},
      {"theme", 0, "THEME", "Colours for a dark or a light background",
       [&options](const auto& value) {
         return take(options.theme, themeOf(value), "the themes are dark and light");
       }},
      {"no-colour", 0, nullptr, "Use no colours, as with NO_COLOR in the environment",
       setFlag(options.colours, false)},
      {"no-mouse", 0, nullptr, "Leave the mouse to the terminal", setFlag(options.mouse, false)},
      {"help", 'h', nullptr, "Print this help", setFlag(options.help)},
      {"version", 'V', nullptr, "Print the version", setFlag(options.version)},
  };
}

}  // namespace

std::variant<Options, std::string> parseOptions(std::span<char* const> argv) {
  Options options;
  Problem problem = parseLongOptions(argv, optionsInto(options));
  if (!problem.empty()) return problem;
  const Options nothing;
  const bool ofDay = options.begin != nothing.begin || options.end != nothing.end;
  if (ofDay && options.log.empty()) return "--begin and --end go with --log";
  if (options.end < options.begin) return "--end is before --begin";
  return options;
}

std::string helpText() {
  Options options;
  return "Usage: zantop [OPTION]...\nShow the GPUs of this machine and their processes, live.\n\n" +
         helpOf(optionsInto(options)) + fmt::format("\nColumns: {}\n", columnNames());
}

std::vector<OptionFacts> describeOptions() {
  Options options;
  return factsOf(optionsInto(options));
}

}  // namespace zanctl::live
