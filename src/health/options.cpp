#include "health/options.h"

#include "device/number_text.h"
#include "output/long_options.h"
#include "request/option_values.h"

#include <array>
#include <charconv>
#include <limits>
#include <string_view>
#include <utility>

namespace zanctl::health {
namespace {

// The whole text as a number, with or without a point; empty when it is none.
std::optional<double> numberIn(std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

auto setNumber(std::optional<std::uint32_t>& number) {
  return [&number](const std::string& text) {
    const auto whole = wholeNumber(text, 10);
    if (!whole || *whole > std::numeric_limits<std::uint32_t>::max()) {
      return "a whole number is needed, not " + text;
    }
    number = static_cast<std::uint32_t>(*whole);
    return std::string();
  };
}

std::string parseTimeout(const std::string& text, std::chrono::milliseconds& timeout) {
  constexpr double kLongest = 3600;
  const auto seconds = numberIn(text);
  if (!seconds || !(*seconds >= 0.1 && *seconds <= kLongest)) {
    return "seconds from 0.1 to 3600 are needed, not " + text;
  }
  timeout = std::chrono::milliseconds(static_cast<long>(*seconds * 1000));
  return {};
}

std::string parseMemory(const std::string& text, std::optional<MemoryLimit>& limit) {
  constexpr std::array<std::pair<std::string_view, double>, 5> kUnits = {
      {{"%", 0.01}, {"KiB", 0x1p10}, {"MiB", 0x1p20}, {"GiB", 0x1p30}, {"TiB", 0x1p40}}};
  std::string_view number = text;
  double factor = 0x1p20;
  for (const auto& [unit, size] : kUnits) {
    if (!number.ends_with(unit)) continue;
    number.remove_suffix(unit.size());
    factor = size;
    break;
  }
  const auto amount = numberIn(number);
  if (!amount || !(*amount >= 0 && *amount <= 1e18)) {
    return "a size like 500MiB or a share like 5% is needed, not " + text;
  }
  limit = MemoryLimit{*amount * factor, text.ends_with('%')};
  return {};
}

std::vector<LongOption> optionsInto(Options& options) {
  return {
      {"gpus", 0, "N", "So many GPUs there must be", setNumber(options.gpus)},
      {"uuids", 0, "FILE", "The GPUs with these UUIDs must be there", setFile(options.uuidFile)},
      {"remember", 0, "FILE", "Write the UUIDs of the GPUs to this file and end",
       setFile(options.rememberFile)},
      {"id", 'i', "GPUS", "Check only these: indices, UUIDs or bus ids",
       [&options](const std::string& text) {
         for (const auto piece : splitAtCommas(text)) {
           if (!piece.empty()) options.only.emplace_back(piece);
         }
         return options.only.empty() ? std::string("no GPU is named") : std::string();
       }},
      {"max-temperature", 0, "CELSIUS", "No GPU may be hotter (its own thresholds)",
       setNumber(options.maxTemperature)},
      {"max-memory-used", 0, "SIZE", "No GPU may have more memory in use: 500 (MiB), 2GiB, 5%",
       [&options](const auto& text) { return parseMemory(text, options.maxMemoryUsed); }},
      {"idle", 0, nullptr, "No process and no vGPU may hold a GPU", setFlag(options.idle)},
      {"timeout", 0, "SECONDS", "Find out within this time (10)",
       [&options](const auto& text) { return parseTimeout(text, options.timeout); }},
      {"quiet", 'q', nullptr, "Print nothing, only end with the status", setFlag(options.quiet)},
      {"json", 0, nullptr, "Print what was found as JSON", setFlag(options.json)},
      {"version", 0, nullptr, "Print the version and end", setFlag(options.version)},
      {"help", 'h', nullptr, "Print this help and end", setFlag(options.help)},
  };
}

}  // namespace

std::variant<Options, std::string> parseOptions(std::span<char* const> argv) {
  Options options;
  std::string problem = parseLongOptions(argv, optionsInto(options));
  if (!problem.empty()) return problem;
  return options;
}

std::string helpText() {
  Options options;
  return "Usage: zanctl-health [OPTION]...\nWhether the Zanthe GPUs of this machine are fit for "
         "work.\n\n" +
         helpOf(optionsInto(options)) +
         "\nExit status: 0 all is well, 1 something is worth a look, 2 the machine must not be "
         "used,\n3 it could not be found out.\n";
}

std::vector<OptionFacts> describeOptions() {
  Options options;
  return factsOf(optionsInto(options));
}

}  // namespace zanctl::health
