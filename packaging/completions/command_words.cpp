#include "command_words.h"

#include "cli/grammar.h"
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

struct ValueRow {
  const char* command;  // null: every command that has the option
  const char* option;
  Form form;
  std::string_view words = {};
};

// The values of which more is known than that they are a text.
constexpr std::array kValues = std::to_array<ValueRow>({
    {nullptr, "--id", Form::list, kGpuWords},
    {nullptr, "--filename", Form::files},
    {"", "--display", Form::list, "sections"},
    {"", "--query-gpu", Form::list, "gpu_properties"},
    {"", "--query-compute-apps", Form::list, "application_properties"},
    {"", "--format", Form::list, "formats"},
    {"dmon", "--options", Form::letters, "device_letters"},
    {"pmon", "--options", Form::letters, "process_letters"},
    {"stats", "--display", Form::list, "metrics"},
    {"topo", "--nearest_gpus", Form::one, "levels"},
    {"topo", "--p2pstatus", Form::one, "capabilities"},
    {"daemon", "--path", Form::directories},
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
Value valueOf(const std::string& command, const OptionFacts& option,
              std::set<const ValueRow*>& used) {
  if (!option.takesValue) return {};
  Value value{.form = Form::text, .words = {}, .optional = option.valueIsOptional};
  for (const ValueRow& row : kValues) {
    const bool isNamed =
        std::find(option.names.begin(), option.names.end(), row.option) != option.names.end();
    if (!isNamed || (row.command != nullptr && row.command != command)) continue;
    value.form = row.form;
    value.words = row.words;
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

std::vector<Word> lettersOf(std::string_view letters) {
  std::vector<Word> words;
  for (const char letter : letters) words.push_back({std::string(1, letter), ""});
  return words;
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

std::vector<CommandWords> collectCommands() {
  std::set<const ValueRow*> used;
  std::vector<CommandWords> commands;
  for (const CommandFacts& facts : describeGrammar()) {
    CommandWords command{facts.name, {}};
    for (const OptionFacts& option : facts.options) {
      command.options.push_back(
          {option.names, firstSentence(option.help), valueOf(facts.name, option, used)});
    }
    commands.push_back(std::move(command));
  }
  for (const ValueRow& row : kValues) {
    if (!used.contains(&row)) throw std::logic_error(std::string("no option ") + row.option);
  }
  return commands;
}

std::vector<WordList> collectWordLists() {
  return {
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
  };
}

}  // namespace zanctl::completions
