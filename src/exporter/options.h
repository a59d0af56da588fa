// The exporter's command line.
#pragma once

#include "collector/groups.h"
#include "output/option_facts.h"

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zanctl::exporter {

enum class OutputFormat { prometheus, openMetrics, json };
inline constexpr std::array<std::string_view, 3> kFormatNames = {"prometheus", "openmetrics",
                                                                 "json"};

struct Options {
  std::vector<std::string> listenAddresses = {};  // ":9835" when none is given
  std::string telemetryPath = "/metrics";
  std::string webConfigFile;  // empty for none
  bool systemdSocket = false;
  collector::Groups groups = collector::defaultGroups();
  std::string textfile;  // empty for none
  bool once = false;
  OutputFormat format = OutputFormat::prometheus;
  bool help = false;
  bool version = false;
};

// Or what is wrong, in a line without a newline.
std::variant<Options, std::string> parseOptions(std::span<char* const> argv);

std::string helpText();

std::vector<OptionFacts> describeOptions();

}  // namespace zanctl::exporter
