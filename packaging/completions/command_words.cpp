#include "command_words.h"

#include "cli/grammar.h"
#include "exporter/options.h"
#include "health/options.h"
#include "live/options.h"
#include "monitors/device_monitor.h"
#include "monitors/process_monitor.h"
#include "monitors/statistics.h"
#include "reports/compute_query.h"
#include "reports/property_query.h"
#include "reports/query_report.h"
#include "topology/link_types.h"
#include "topology/topology.h"

#include <algorithm>
#include <array>
#include <set>
#include <span>
#include <stdexcept>

namespace zanctl::completions {
namespace {

std::vector<CommandFacts> withoutCommands(std::vector<OptionFacts> options) {
  return {{"", "", std::move(options)}};
}

struct Program {
  std::string_view name;
  std::vector<CommandFacts> (*commands)();
};

constexpr std::array kPrograms = std::to_array<Program>({
    {"zanctl", describeGrammar},
    {"zanctl-exporter", [] { return withoutCommands(exporter::describeOptions()); }},
    {"zanctl-health", [] { return withoutCommands(health::describeOptions()); }},
    {"zantop", [] { return withoutCommands(live::describeOptions()); }},
});

std::vector<CommandFacts> commandsOf(std::string_view program) {
  for (const Program& known : kPrograms) {
    if (known.name == program) return known.commands();
  }
  throw std::logic_error("no program " + std::string(program));
}

struct ValueRow {
  std::string_view program;
  const char* command;  // null: every command that has the option
  const char* option;
  Form form;
  std::string_view words = {};
  bool repeatable = false;
};

// The values of which more is known than that they are a text.
constexpr std::array kValues = std::to_array<ValueRow>({
    {"zanctl", nullptr, "--id", Form::list, kGpuWords},
    {"zanctl", nullptr, "--filename", Form::files},
    {"zanctl", "", "--display", Form::list, "sections"},
    {"zanctl", "", "--query-gpu", Form::list, "gpu_properties"},
    {"zanctl", "", "--query-compute-apps", Form::list, "application_properties"},
    {"zanctl", "", "--format", Form::list, "formats"},
    {"zanctl", "dmon", "--options", Form::letters, "device_letters"},
    {"zanctl", "pmon", "--options", Form::letters, "process_letters"},
    {"zanctl", "stats", "--display", Form::list, "metrics"},
    {"zanctl", "topo", "--nearest_gpus", Form::one, "levels"},
    {"zanctl", "topo", "--p2pstatus", Form::one, "capabilities"},
    {"zanctl", "daemon", "--path", Form::directories},
    {"zanctl-exporter", "", "--web.listen-address", Form::text, {}, true},
    {"zanctl-exporter", "", "--web.config.file", Form::files},
    {"zanctl-exporter", "", "--collect", Form::list, "groups"},
    {"zanctl-exporter", "", "--no-collect", Form::list, "groups"},
    {"zanctl-exporter", "", "--textfile", Form::files},
    {"zanctl-exporter", "", "--format", Form::one, "metric_formats"},
    {"zanctl-health", "", "--uuids", Form::files},
    {"zanctl-health", "", "--remember", Form::files},
    {"zanctl-health", "", "--id", Form::list, kGpuWords},
    {"zantop", "", "--id", Form::list, kGpuWords},
    {"zantop", "", "--sort", Form::one, "columns"},
    {"zantop", "", "--log", Form::files},
    {"zantop", "", "--graph", Form::one, "graphs"},
    {"zantop", "", "--theme", Form::one, "themes"},
});

std::string withoutStop(std::string_view text) {
  return std::string(text.substr(0, text.find_last_not_of(" .:") + 1));
}

// The first sentence of a help text in one line: what stands before a list or a next sentence.
std::string firstSentence(std::string text) {
  text.erase(std::min(text.find("\n "), text.size()));
  std::replace(text.begin(), text.end(), '\n', ' ');
  for (const char* end : {". ", ": "}) text.erase(std::min(text.find(end), text.size()));
  return withoutStop(text);
}

// Marks the rows that it uses.
Value valueOf(std::string_view program, const std::string& command, const OptionFacts& option,
              std::set<const ValueRow*>& used) {
  if (!option.takesValue) return {};
  Value value{.form = Form::text, .words = {}, .optional = option.valueIsOptional};
  for (const ValueRow& row : kValues) {
    const bool isNamed =
        std::find(option.names.begin(), option.names.end(), row.option) != option.names.end();
    if (!isNamed || row.program != program) continue;
    if (row.command != nullptr && row.command != command) continue;
    value.form = row.form;
    value.words = row.words;
    value.repeatable = row.repeatable;
    used.insert(&row);
  }
  return value;
}

std::vector<Word> commandNames() {
  std::vector<Word> words;
  for (const CommandFacts& command : describeGrammar()) {
    if (!command.name.empty()) words.push_back({command.name, firstSentence(command.help)});
  }
  return words;
}

template <typename Row>
std::vector<Word> propertyNames(CsvTable<Row> table) {
  std::vector<Word> words;
  for (const auto& property : table) {
    for (const std::string_view name : {property.name, property.alias}) {
      if (!name.empty()) words.push_back({std::string(name), withoutStop(property.help)});
    }
  }
  return words;
}

std::vector<Word> withoutHelp(std::span<const std::string_view> names) {
  std::vector<Word> words;
  for (const std::string_view name : names) words.push_back({std::string(name), ""});
  return words;
}

template <typename Table>
std::vector<Word> namesIn(const Table& table) {
  std::vector<Word> words;
  words.reserve(table.size());
  for (const auto& row : table) words.push_back({std::string(row.name), ""});
  return words;
}

std::vector<Word> lettersOf(std::string_view letters) {
  std::vector<Word> words;
  for (const char letter : letters) words.push_back({std::string(1, letter), ""});
  return words;
}

std::vector<Word> graphKinds() {
  using enum live::GraphKind;
  return withoutHelp(
      std::array{live::graphName(braille), live::graphName(block), live::graphName(ascii)});
}

std::vector<Word> themes() {
  return withoutHelp(
      std::array{live::themeName(live::Theme::dark), live::themeName(live::Theme::light)});
}

std::vector<Word> connectionLevels() {
  std::vector<Word> words;
  words.reserve(kLinkTypes.size());
  for (const LinkType& type : kLinkTypes) {
    words.push_back({std::to_string(words.size()), std::string(type.phrase)});
  }
  return words;
}

}  // namespace

std::vector<CommandWords> collectCommands(std::string_view program) {
  std::set<const ValueRow*> used;
  std::vector<CommandWords> commands;
  for (const CommandFacts& facts : commandsOf(program)) {
    CommandWords command{facts.name, {}};
    for (const OptionFacts& option : facts.options) {
      command.options.push_back(
          {option.names, firstSentence(option.help), valueOf(program, facts.name, option, used)});
    }
    commands.push_back(std::move(command));
  }
  for (const ValueRow& row : kValues) {
    if (row.program != program || used.contains(&row)) continue;
    throw std::logic_error(std::string("no option ") + row.option);
  }
  return commands;
}

std::vector<WordList> collectWordLists(std::string_view program) {
  std::set<std::string_view> wanted;
  if (commandsOf(program).size() > 1) wanted.insert("commands");
  for (const ValueRow& row : kValues) {
    if (row.program == program) wanted.insert(row.words);
  }
  std::vector<WordList> lists = {
      {"commands", commandNames()},
      {"sections", withoutHelp(sectionKeywords())},
      {"gpu_properties", propertyNames(gpuProperties())},
      {"application_properties", propertyNames(computeAppProperties())},
      {"formats", withoutHelp(formatModifiers())},
      {"metrics", withoutHelp(metricNames())},
      {"device_letters", lettersOf(kDeviceMonitorLetters)},
      {"process_letters", lettersOf(kProcessMonitorLetters)},
      {"levels", connectionLevels()},
      {"capabilities", lettersOf(kP2pCapabilities)},
      {"groups", namesIn(collector::kNamedGroups)},
      {"metric_formats", withoutHelp(exporter::kFormatNames)},
      {"columns", namesIn(live::kColumns)},
      {"graphs", graphKinds()},
      {"themes", themes()},
  };
  std::erase_if(lists, [&](const WordList& list) { return !wanted.contains(list.name); });
  return lists;
}

}  // namespace zanctl::completions
