#include "output/long_options.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include <getopt.h>

namespace zanctl {
namespace {

constexpr int kByName = 256;  // beyond every letter

std::vector<option> namesOf(std::span<const LongOption> options) {
  std::vector<option> names;
  for (std::size_t i = 0; i < options.size(); ++i) {
    names.push_back({options[i].name, options[i].value == nullptr ? no_argument : required_argument,
                     nullptr, kByName + static_cast<int>(i)});
  }
  names.push_back({});
  return names;
}

// Errors are reported here, and nothing behind the first other argument is an option.
std::string lettersOf(std::span<const LongOption> options) {
  std::string letters = "+:";
  for (const LongOption& option : options) {
    if (option.letter == 0) continue;
    letters.push_back(option.letter);
    if (option.value != nullptr) letters.push_back(':');
  }
  return letters;
}

}  // namespace

std::string parseLongOptions(std::span<char* const> argv, std::span<const LongOption> options) {
  const auto names = namesOf(options);
  const std::string letters = lettersOf(options);
  const auto count = static_cast<int>(argv.size());
  opterr = 0;
  optind = 1;
  while (true) {
    const auto at = static_cast<std::size_t>(optind);
    const int found = getopt_long(count, argv.data(), letters.c_str(), names.data(), nullptr);
    if (found == -1) break;
    if (found == ':') return fmt::format("option {} needs a value", argv[at]);
    const auto option = std::find_if(options.begin(), options.end(), [&](const LongOption& one) {
      return found == one.letter || found - kByName == &one - options.data();
    });
    if (option == options.end()) {
      return fmt::format("option {} is unknown or takes no value", argv[at]);
    }
    const std::string problem = option->take(optarg == nullptr ? "" : optarg);
    if (!problem.empty()) return fmt::format("--{}: {}", option->name, problem);
  }
  if (optind == count) return {};
  return fmt::format("argument {} is not an option", argv[static_cast<std::size_t>(optind)]);
}

std::string helpOf(std::span<const LongOption> options) {
  std::string text;
  for (const LongOption& option : options) {
    std::string name = option.letter == 0 ? "    " : fmt::format("-{}, ", option.letter);
    name += fmt::format("--{}", option.name);
    if (option.value != nullptr) name += fmt::format("={}", option.value);
    text += fmt::format("  {:<34} {}\n", name, option.help);
  }
  return text;
}

std::vector<OptionFacts> factsOf(std::span<const LongOption> options) {
  std::vector<OptionFacts> facts;
  for (const LongOption& option : options) {
    std::vector<std::string> names;
    if (option.letter != 0) names.push_back(fmt::format("-{}", option.letter));
    names.push_back(fmt::format("--{}", option.name));
    facts.push_back({std::move(names), option.help, option.value != nullptr, false});
  }
  return facts;
}

}  // namespace zanctl
