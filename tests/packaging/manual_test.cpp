// The manual pages name what the program has, and nothing else.
#include "cli/grammar.h"
#include "exporter/options.h"
#include "health/options.h"
#include "live/options.h"
#include "monitors/statistics.h"
#include "reports/compute_query.h"
#include "reports/property_query.h"
#include "reports/query_report.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

namespace zanctl {
namespace {

using Names = std::set<std::string>;

struct Line {
  std::string section;     // of .Sh
  std::string subsection;  // of .Ss
  std::string macro;       // empty for a line of text
  std::vector<std::string> words;
};

std::vector<Line> linesOf(const std::string& page) {
  std::ifstream file(std::string(ZANCTL_MANUALS) + "/" + page);
  std::vector<Line> lines;
  std::string section;
  std::string subsection;
  for (std::string text; std::getline(file, text);) {
    std::istringstream in(text);
    Line line;
    if (text.starts_with('.')) in >> line.macro;
    line.words = {std::istream_iterator<std::string>(in), {}};
    const std::string heading = text.substr(std::min(text.size(), line.macro.size() + 1));
    if (line.macro == ".Sh") section = heading;
    if (line.macro == ".Sh") subsection.clear();
    if (line.macro == ".Ss") subsection = heading;
    line.section = section;
    line.subsection = subsection;
    lines.push_back(std::move(line));
  }
  EXPECT_FALSE(lines.empty()) << page;
  return lines;
}

// The options that a line marks up, as they are typed.
Names flagsOf(const Line& line) {
  Names flags;
  bool isFlag = line.macro == ".Fl";
  for (const std::string& word : line.words) {
    if (isFlag) flags.insert("-" + word);
    isFlag = word == "Fl";
  }
  return flags;
}

Names namesOf(const std::vector<OptionFacts>& options) {
  Names names;
  for (const OptionFacts& option : options) names.insert(option.names.begin(), option.names.end());
  return names;
}

// By command, "" for the program itself.
std::map<std::string, Names> grammarFlags() {
  std::map<std::string, Names> flags;
  for (const auto& command : describeGrammar()) flags[command.name] = namesOf(command.options);
  return flags;
}

TEST(Manual, listsTheOptionsOfEveryCommand) {
  std::map<std::string, Names> flags;
  for (const Line& line : linesOf("zanctl.1")) {
    const bool isOption = line.section == "OPTIONS" || line.section == "COMMANDS";
    if (!isOption || line.macro != ".It") continue;
    flags[line.subsection].merge(flagsOf(line));
  }
  EXPECT_EQ(flags, grammarFlags());
}

TEST(Manual, listsTheOptionsOfTheOtherPrograms) {
  const std::map<std::string, Names> pages = {
      {"zanctl-exporter.8", namesOf(exporter::describeOptions())},
      {"zanctl-health.1", namesOf(health::describeOptions())},
      {"zantop.1", namesOf(live::describeOptions())}};
  for (const auto& [page, options] : pages) {
    Names listed;
    for (const Line& line : linesOf(page)) {
      if (line.macro == ".It") listed.merge(flagsOf(line));
    }
    EXPECT_EQ(listed, options) << page;
  }
}

TEST(Manual, mentionsNoOptionThatDoesNotExist) {
  const auto known = grammarFlags();
  Names all;
  for (const auto& [command, flags] : known) all.insert(flags.begin(), flags.end());
  int mentions = 0;
  for (const char* page : {"zanctl.1", "zanctl-log.5"}) {
    for (const Line& line : linesOf(page)) {
      const auto own = known.find(line.section == "COMMANDS" ? line.subsection : "-");
      for (const std::string& flag : flagsOf(line)) {
        const Names& allowed = own == known.end() ? all : own->second;
        EXPECT_TRUE(allowed.contains(flag)) << page << ", " << line.subsection << ": " << flag;
        ++mentions;
      }
    }
  }
  EXPECT_GT(mentions, 100);
}

// The entries of the list below a heading, as they stand in the source.
Names entriesOf(const std::string& subsection) {
  Names entries;
  for (const Line& line : linesOf("zanctl.1")) {
    if (line.subsection != subsection || line.macro != ".It") continue;
    std::string entry;
    for (const std::string& word : line.words) entry += (entry.empty() ? "" : " ") + word;
    EXPECT_TRUE(entries.insert(entry).second) << entry << " stands there twice";
  }
  return entries;
}

template <typename Row>
Names entriesOf(CsvTable<Row> table) {
  Names entries;
  for (const auto& property : table) {
    std::string entry = "Cm " + std::string(property.name);
    if (!property.alias.empty()) entry += " , " + std::string(property.alias);
    if (!property.unit.empty()) entry += " Pq " + std::string(property.unit);
    entries.insert(entry);
  }
  return entries;
}

template <typename NameList>
Names entriesOfNames(const NameList& names) {
  Names entries;
  for (const std::string_view name : names) entries.insert("Cm " + std::string(name));
  return entries;
}

TEST(Manual, listsEveryPropertySectionAndMetric) {
  EXPECT_EQ(entriesOf("GPU properties"), entriesOf(gpuProperties()));
  EXPECT_EQ(entriesOf("Compute application properties"), entriesOf(computeAppProperties()));
  EXPECT_EQ(entriesOf("Report sections"), entriesOfNames(sectionKeywords()));
  EXPECT_EQ(entriesOf("Metrics of stats"), entriesOfNames(metricNames()));
}

}  // namespace
}  // namespace zanctl
