#include "exporter/options.h"

#include <fmt/format.h>

#include <array>
#include <iterator>
#include <optional>
#include <string_view>

#include <getopt.h>

namespace zanctl::exporter {
namespace {

using collector::Groups;

// What is wrong with the value; empty when nothing is.
using Problem = std::string;

Problem parseGroups(std::string_view text, Groups& groups) {
  groups = 0;
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

// Options that are read after all others have been.
struct Draft {
  Options options;
  std::optional<Groups> collect;
  Groups noCollect = 0;
  bool processes = false;
};

struct Option {
  const char* name;
  const char* value;  // what to call it in the help; null for an option without one
  const char* help;
  Problem (*take)(Draft& draft, const char* value);
};

Problem takeFormat(Draft& draft, const char* value) {
  const std::string_view name = value;
  if (name == "prometheus") {
    draft.options.format = OutputFormat::prometheus;
  } else if (name == "openmetrics") {
    draft.options.format = OutputFormat::openMetrics;
  } else if (name == "json") {
    draft.options.format = OutputFormat::json;
  } else {
    return fmt::format("there is no format \"{}\"", name);
  }
  return {};
}

Problem takeTelemetryPath(Draft& draft, const char* value) {
  draft.options.telemetryPath = value;
  return *value == '/' ? Problem() : "a path begins with \"/\"";
}

Problem takeCollect(Draft& draft, const char* value) {
  return parseGroups(value, draft.collect.emplace());
}

Problem takeFile(std::string& file, const char* value) {
  file = value;
  return file.empty() ? "a file has a name" : Problem();
}

constexpr std::array<Option, 13> kOptions = {{
    {"web.listen-address", "ADDRESS",
     "Address to listen on, HOST:PORT or :PORT; repeatable (:9835)",
     [](Draft& draft, const char* value) {
       draft.options.listenAddresses.emplace_back(value);
       return Problem();
     }},
    {"web.telemetry-path", "PATH", "Path of the metrics (/metrics)", takeTelemetryPath},
    {"web.config.file", "FILE", "Web configuration file with TLS and passwords",
     [](Draft& draft, const char* value) { return takeFile(draft.options.webConfigFile, value); }},
    {"web.systemd-socket", nullptr, "Use the sockets that systemd passes",
     [](Draft& draft, const char* /*value*/) {
       draft.options.systemdSocket = true;
       return Problem();
     }},
    {"collect", "GROUPS", "Collect these groups, separated by commas, and no others", takeCollect},
    {"no-collect", "GROUPS", "Do not collect these groups",
     [](Draft& draft, const char* value) { return parseGroups(value, draft.noCollect); }},
    {"processes", nullptr, "Add the memory of each compute process",
     [](Draft& draft, const char* /*value*/) {
       draft.processes = true;
       return Problem();
     }},
    {"textfile", "PATH", "Write the metrics to this file and end",
     [](Draft& draft, const char* value) { return takeFile(draft.options.textfile, value); }},
    {"once", nullptr, "Print the metrics and end",
     [](Draft& draft, const char* /*value*/) {
       draft.options.once = true;
       return Problem();
     }},
    {"format", "FORMAT", "With --once: prometheus, openmetrics or json (prometheus)", takeFormat},
    {"version", nullptr, "Print the version and end",
     [](Draft& draft, const char* /*value*/) {
       draft.options.version = true;
       return Problem();
     }},
    {"help", nullptr, "Print this help and end",
     [](Draft& draft, const char* /*value*/) {
       draft.options.help = true;
       return Problem();
     }},
    {nullptr, nullptr, nullptr, nullptr},
}};

std::array<option, kOptions.size()> longOptions() {
  std::array<option, kOptions.size()> options{};
  for (std::size_t i = 0; kOptions[i].name != nullptr; ++i) {
    options[i] = {kOptions[i].name, kOptions[i].value == nullptr ? no_argument : required_argument,
                  nullptr, 0};
  }
  return options;
}

Problem parseInto(Draft& draft, std::span<char* const> argv) {
  const auto options = longOptions();
  opterr = 0;
  optind = 1;
  int index = 0;
  while (true) {
    const int at = optind;
    const int found =
        getopt_long(static_cast<int>(argv.size()), argv.data(), "+:h", options.data(), &index);
    if (found == -1) break;
    const char* word = argv[static_cast<std::size_t>(at)];
    if (found == 'h') {
      draft.options.help = true;
    } else if (found == ':') {
      return fmt::format("option {} needs a value", word);
    } else if (found != 0) {
      return fmt::format("option {} is unknown or incomplete", word);
    } else {
      const Option& option = kOptions[static_cast<std::size_t>(index)];
      const Problem problem = option.take(draft, optarg);
      if (!problem.empty()) return fmt::format("--{}: {}", option.name, problem);
    }
  }
  if (static_cast<std::size_t>(optind) < argv.size()) {
    return fmt::format("argument {} is not an option", argv[static_cast<std::size_t>(optind)]);
  }
  if (draft.options.once && !draft.options.textfile.empty()) {
    return "--once and --textfile exclude each other";
  }
  return {};
}

}  // namespace

std::variant<Options, std::string> parseOptions(std::span<char* const> argv) {
  Draft draft;
  Problem problem = parseInto(draft, argv);
  if (!problem.empty()) return problem;
  Options& options = draft.options;
  options.groups = draft.collect.value_or(options.groups) & ~draft.noCollect;
  if (draft.processes) options.groups |= collector::kProcessNames;
  if (options.listenAddresses.empty()) options.listenAddresses.emplace_back(":9835");
  return options;
}

std::string helpText() {
  std::string text =
      "Usage: zanctl-exporter [OPTION]...\nMetrics of the Zanthe GPUs of this "
      "machine, over HTTP.\n\n";
  for (const Option& option : kOptions) {
    if (option.name == nullptr) break;
    const std::string name =
        option.value == nullptr ? option.name : fmt::format("{}={}", option.name, option.value);
    fmt::format_to(std::back_inserter(text), "  --{:<28} {}\n", name, option.help);
  }
  text += "\nGroups (* not by default):\n ";
  for (const collector::NamedGroup& group : collector::kNamedGroups) {
    fmt::format_to(std::back_inserter(text), " {}{}", group.name, group.byDefault ? "" : "*");
  }
  return text + "\n";
}

}  // namespace zanctl::exporter
