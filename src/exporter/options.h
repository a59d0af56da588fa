// The exporter's command line.
#pragma once

#include "collector/groups.h"

#include <span>
#include <string>
#include <variant>
#include <vector>

namespace zanctl::exporter {

enum class OutputFormat { prometheus, openMetrics, json };

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

}  // namespace zanctl::exporter
