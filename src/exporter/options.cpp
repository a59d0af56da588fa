#include "exporter/options.h"

#include "output/long_options.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include <getopt.h>

namespace zanctl::exporter {
namespace {

using collector::Groups;

// What is wrong with the value; empty when nothing is.
using Problem = std::string;

// Adds to the groups, as options that are repeated do.
Problem addGroups(std::string_view text, Groups& groups) {
  while (!text.empty()) {
    const std::string_view name = text.substr(0, text.find(','));
    text.remove_prefix(std::min(name.size() + 1, text.size()));
    Groups found = 0;
    for (const collector::NamedGroup& group : collector::kNamedGroups) {
      if (group.name == name) found = group.group;
    }
    if (found == 0) return fmt::format("there is no group \"{}\"", name);
    groups |= found;
  }
  return {};
}

Problem parseFormat(const std::string& name, OutputFormat& format) {
  const auto* const found = std::find(kFormatNames.begin(), kFormatNames.end(), name);
  if (found == kFormatNames.end()) return fmt::format("there is no format \"{}\"", name);
  format = static_cast<OutputFormat>(found - kFormatNames.begin());
  return {};
}

// What is put together when all options have been read.
struct Draft {
  Options options;
  std::optional<Groups> collect;
  Groups noCollect = 0;
  bool processes = false;
};

std::vector<LongOption> optionsInto(Draft& draft) {
  Options& options = draft.options;
  const auto addAddress = [&options](const std::string& value) {
    options.listenAddresses.push_back(value);
    return Problem();
  };
  const auto setPath = [&options](const std::string& value) {
    options.telemetryPath = value;
    return value.starts_with('/') ? Problem() : Problem("a path begins with \"/\"");
  };
  return {
      {"web.listen-address", 0, "ADDRESS", "Listen on HOST:PORT or :PORT; repeatable (:9835)",
       addAddress},
      {"web.telemetry-path", 0, "PATH", "Path of the metrics (/metrics)", setPath},
      {"web.config.file", 0, "FILE", "Web configuration file with TLS and passwords",
       setFile(options.webConfigFile)},
      {"web.systemd-socket", 0, nullptr, "Use the sockets that systemd passes",
       setFlag(options.systemdSocket)},
      {"collect", 0, "GROUPS", "Collect these groups, separated by commas, and no others",
       [&draft](const auto& value) {
         return addGroups(value, draft.collect ? *draft.collect : draft.collect.emplace());
       }},
      {"no-collect", 0, "GROUPS", "Do not collect these groups",
       [&draft](const auto& value) { return addGroups(value, draft.noCollect); }},
      {"processes", 0, nullptr, "Add the memory of each compute process", setFlag(draft.processes)},
      {"textfile", 0, "PATH", "Write the metrics to this file and end", setFile(options.textfile)},
      {"once", 0, nullptr, "Print the metrics and end", setFlag(options.once)},
      {"format", 0, "FORMAT",
       "Print them as prometheus, openmetrics or json, with --once (prometheus)",
       [&options](const auto& value) { return parseFormat(value, options.format); }},
      {"version", 0, nullptr, "Print the version and end", setFlag(options.version)},
      {"help", 'h', nullptr, "Print this help and end", setFlag(options.help)},
  };
}

}  // namespace

std::variant<Options, std::string> parseOptions(std::span<char* const> argv) {
  Draft draft;
  Problem problem = parseLongOptions(argv, optionsInto(draft));
  if (!problem.empty()) return problem;
  Options& options = draft.options;
  if (options.once && !options.textfile.empty()) {
    return "--once and --textfile exclude each other";
  }
  options.groups = draft.collect.value_or(options.groups) & ~draft.noCollect;
  if (draft.processes) options.groups |= collector::kProcessNames;
  if (options.listenAddresses.empty()) options.listenAddresses.emplace_back(":9835");
  return options;
}

std::string helpText() {
  std::string text =
      "Usage: zanctl-exporter [OPTION]...\nMetrics of the Zanthe GPUs of this "
      "machine, over HTTP.\n\n";
  Draft draft;
  text += helpOf(optionsInto(draft));
  text += "\nGroups (* not by default):\n ";
  for (const collector::NamedGroup& group : collector::kNamedGroups) {
    text += fmt::format(" {}{}", group.name, group.byDefault ? "" : "*");
  }
  return text + "\n";
}

std::vector<OptionFacts> describeOptions() {
  Draft draft;
  return factsOf(optionsInto(draft));
}

}  // namespace zanctl::exporter
