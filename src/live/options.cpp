#include "live/options.h"

#include "device/number_text.h"

#include <fmt/format.h>

#include <array>
#include <iterator>
#include <vector>

#include <getopt.h>

namespace zanctl::live {
namespace {

using Problem = std::string;  // empty when nothing is wrong

template <typename Value>
Problem take(std::optional<Value>& field, std::optional<Value> value, std::string_view allowed) {
  if (!value) return std::string(allowed);
  field = value;
  return {};
}

Problem takeTime(TimeOfDay& field, const char* value) {
  const auto time = parseTimeOfDay(value);
  if (time) field = *time;
  return time ? Problem() : "a time is HH:MM:SS";
}

Problem takeSwitch(bool& field, bool value) {
  field = value;
  return {};
}

std::string columnNames() {
  std::string names;
  for (const ColumnFacts& column : kColumns) {
    names += fmt::format("{}{}", names.empty() ? "" : ", ", column.name);
  }
  return names;
}

struct Option {
  char letter;  // 0 for none
  const char* name;
  const char* value;  // what to call it in the help; null for an option without one
  const char* help;
  Problem (*take)(Options& options, const char* value);
};

constexpr std::array kOptions = std::to_array<Option>({
    {'i', "id", "GPUS", "Show these GPUs: indices, UUIDs or bus ids, separated by commas",
     [](Options& o, const char* value) {
       o.gpus = value;
       return o.gpus.empty() ? Problem("a list names a GPU") : Problem();
     }},
    {'d', "delay", "SECONDS", "Time from one reading to the next, 0.2 to 60 (1)",
     [](Options& o, const char* value) {
       return take(o.interval, parseInterval(value), "an interval is 0.2 to 60 seconds");
     }},
    {'n', "count", "COUNT", "End after so many readings",
     [](Options& o, const char* value) {
       o.count = wholeNumber(value, 10).value_or(0);
       return o.count == 0 ? Problem("a count is a number from 1 on") : Problem();
     }},
    {0, "sort", "COLUMN", "Sort the processes by this column",
     [](Options& o, const char* value) {
       return take(o.sort, columnOf(value), "the columns are " + columnNames());
     }},
    {0, "filter", "TEXT", "Show the processes that hold this text",
     [](Options& o, const char* value) {
       o.filter = value;
       return Problem();
     }},
    {0, "log", "FILE", "Show a day that the daemon of zanctl has written",
     [](Options& o, const char* value) {
       o.log = value;
       return o.log.empty() ? Problem("a file has a name") : Problem();
     }},
    {0, "begin", "TIME", "Leave out what the log has before HH:MM:SS",
     [](Options& o, const char* value) { return takeTime(o.begin, value); }},
    {0, "end", "TIME", "Leave out what it has after HH:MM:SS",
     [](Options& o, const char* value) { return takeTime(o.end, value); }},
    {0, "batch", nullptr, "Print plain frames: one, or as many as -n says",
     [](Options& o, const char* /*value*/) { return takeSwitch(o.batch, true); }},
    {0, "graph", "KIND", "Draw graphs with braille, block or ascii characters",
     [](Options& o, const char* value) {
       return graphKindOf(value, o.graph.emplace()) ? Problem()
                                                    : "the kinds are braille, block and ascii";
     }},
    {0, "theme", "THEME", "Colours for a dark or a light background",
     [](Options& o, const char* value) {
       return take(o.theme, themeOf(value), "the themes are dark and light");
     }},
    {0, "no-colour", nullptr, "Use no colours, as with NO_COLOR in the environment",
     [](Options& o, const char* /*value*/) { return takeSwitch(o.colours, false); }},
    {0, "no-mouse", nullptr, "Leave the mouse to the terminal",
     [](Options& o, const char* /*value*/) { return takeSwitch(o.mouse, false); }},
    {'h', "help", nullptr, "Print this help",
     [](Options& o, const char* /*value*/) { return takeSwitch(o.help, true); }},
    {'V', "version", nullptr, "Print the version",
     [](Options& o, const char* /*value*/) { return takeSwitch(o.version, true); }},
});

constexpr int kFirstLong = 256;

const Option* optionOf(int answer) {
  if (answer >= kFirstLong) return &kOptions[static_cast<std::size_t>(answer - kFirstLong)];
  for (const Option& option : kOptions) {
    if (option.letter == answer) return &option;
  }
  return nullptr;
}

}  // namespace

std::variant<Options, std::string> parseOptions(std::span<char* const> argv) {
  std::string letters = ":";
  std::vector<option> names;
  for (std::size_t i = 0; i < kOptions.size(); ++i) {
    const Option& known = kOptions[i];
    const int argument = known.value == nullptr ? no_argument : required_argument;
    if (known.letter != 0)
      letters += fmt::format("{}{}", known.letter, argument == no_argument ? "" : ":");
    names.push_back({known.name, argument, nullptr, kFirstLong + static_cast<int>(i)});
  }
  names.push_back({});
  Options options;
  const int count = static_cast<int>(argv.size());
  opterr = 0;
  for (;;) {
    const int before = optind;
    const int answer = getopt_long(count, argv.data(), letters.c_str(), names.data(), nullptr);
    if (answer == -1) break;
    const char* const word = argv[static_cast<std::size_t>(std::min(before, count - 1))];
    if (answer == ':') return fmt::format("{} wants a value", word);
    const Option* const known = optionOf(answer);
    if (known == nullptr) return fmt::format("{} is no option, see zantop --help", word);
    const Problem problem = known->take(options, optarg);
    if (!problem.empty()) return fmt::format("--{}: {}", known->name, problem);
  }
  if (optind < count) {
    return fmt::format("{} is too much, see zantop --help", argv[static_cast<std::size_t>(optind)]);
  }
  const Options nothing;
  const bool ofDay = options.begin != nothing.begin || options.end != nothing.end;
  if (ofDay && options.log.empty()) return "--begin and --end go with --log";
  if (options.end < options.begin) return "--end is before --begin";
  return options;
}

std::string helpText() {
  std::string text =
      "Usage: zantop [OPTION]...\nShow the GPUs of this machine and their processes, live.\n\n";
  for (const Option& option : kOptions) {
    const std::string letter = option.letter == 0 ? "    " : fmt::format("-{}, ", option.letter);
    const std::string name =
        fmt::format("{}--{}{}{}", letter, option.name, option.value == nullptr ? "" : " ",
                    option.value == nullptr ? "" : option.value);
    fmt::format_to(std::back_inserter(text), "  {:<24}{}\n", name, option.help);
  }
  return text + fmt::format("\nColumns: {}\n", columnNames());
}

}  // namespace zanctl::live
