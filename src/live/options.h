// The command line of zantop.
#pragma once

#include "live/settings.h"
#include "output/option_facts.h"
#include "stats_log/stats_format.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace zanctl::live {

struct Options {
  std::string gpus;  // the list of -i; empty for all
  std::optional<Interval> interval;
  std::uint64_t count = 0;  // rounds; 0 when it was not given
  std::optional<Column> sort;
  std::string filter;
  std::string log;  // a file; empty for the machine itself
  TimeOfDay begin = 0;
  TimeOfDay end = 86'399;  // within the range
  bool batch = false;
  std::optional<GraphKind> graph;
  std::optional<Theme> theme;
  bool colours = true;
  bool mouse = true;
  bool help = false;
  bool version = false;
};

// Or what is wrong, in a line without a newline.
std::variant<Options, std::string> parseOptions(std::span<char* const> argv);

std::string helpText();

std::vector<OptionFacts> describeOptions();

}  // namespace zanctl::live
