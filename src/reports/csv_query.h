// What the CSV queries have in common: the checks of their options, the header, the values and the
// loop. A query adds a table of properties and a source of rows.
#pragma once

#include "cli/selection.h"
#include "device/session.h"
#include "output/option_text.h"
#include "output/pass_loop.h"

#include <fmt/ostream.h>

#include <algorithm>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl {

// One property of a row. The header and the helps use its name, a query its name or its alias.
template <typename Row>
struct CsvProperty {
  std::string_view name;
  std::string_view alias;  // may be empty
  std::string_view unit;   // may be empty
  std::string_view help;
  std::optional<std::string> (*value)(Row&);  // empty when it is unavailable
};

struct CsvRequest {
  std::string properties;  // the comma-separated names asked for
  std::string format;      // the --format option
  std::string loop;        // the --loop option
  std::string filename;    // empty: standard output
};

struct CsvFormat {
  bool header = true;
  bool units = true;
};

struct CsvSettings {
  CsvFormat format;
  std::uint64_t periodSeconds;  // 0: once
};

// The checked loop period and format; empty after saying what is wrong with them.
std::optional<CsvSettings> checkSettings(const CsvRequest& request, std::ostream& out);

// The words of the --format option.
std::vector<std::string_view> formatModifiers();

// Names `field` as no property of a query.
void refuseField(std::string_view field, std::ostream& out);

template <typename Row>
using CsvTable = std::span<const CsvProperty<Row>>;

template <typename Row>
void printPropertyHelp(CsvTable<Row> table, std::ostream& out) {
  for (const auto& property : table) {
    out << '"' << property.name << '"';
    if (!property.alias.empty()) out << " or \"" << property.alias << '"';
    out << '\n' << property.help << '\n';
  }
}

// The properties asked for, in their order; empty after naming the first that is none.
template <typename Row>
std::optional<std::vector<const CsvProperty<Row>*>> findProperties(CsvTable<Row> table,
                                                                   const std::string& query,
                                                                   std::ostream& out) {
  std::vector<const CsvProperty<Row>*> found;
  for (const std::string_view field : splitAtCommas(query)) {
    const auto isAsked = [field](const CsvProperty<Row>& property) {
      return property.name == field || (!field.empty() && property.alias == field);
    };
    const auto property = std::find_if(table.begin(), table.end(), isAsked);
    if (property == table.end()) {
      refuseField(field, out);
      return std::nullopt;
    }
    found.push_back(&*property);
  }
  return found;
}

template <typename Row>
void writeHeader(std::ostream& out, const std::vector<const CsvProperty<Row>*>& properties) {
  std::string_view separator;
  for (const auto* property : properties) {
    out << separator << property->name;
    if (!property->unit.empty()) out << " [" << property->unit << ']';
    separator = ", ";
  }
  out << '\n';
}

template <typename Row>
void writeRow(std::ostream& out, const std::vector<const CsvProperty<Row>*>& properties,
              const CsvFormat& format, Row& row) {
  std::string_view separator;
  for (const auto* property : properties) {
    const auto value = property->value(row);
    out << separator << value.value_or("[N/A]");
    if (value && format.units && !property->unit.empty()) out << ' ' << property->unit;
    separator = ", ";
  }
  out << '\n';
}

// Runs a query: `forEachRow` calls its argument with every row of the current GPU. Returns 0, or -1
// after saying what was refused or lost.
template <typename Row, typename ForEachRow>
int runCsvQuery(const CsvRequest& request, const DeviceSet& selection, CsvTable<Row> table,
                const ForEachRow& forEachRow, std::ostream& messages) {
  const auto settings = checkSettings(request, messages);
  if (!settings) return -1;
  const auto properties = findProperties(table, request.properties, messages);
  if (!properties) return -1;
  Output output(request.filename);
  if (!output.usable()) {
    fmt::print(messages, "Failed to create the log file {}\n", request.filename);
    return -1;
  }
  bool headerDue = settings->format.header;
  const std::uint32_t deviceCount = session().deviceCount;
  const auto runPass = [&](const Pass& pass) {
    for (std::uint32_t index = 0; index < deviceCount; ++index) {
      if (!isSelected(selection, index)) continue;
      session().currentDevice = index;
      if (headerDue) writeHeader(pass.out, *properties);
      headerDue = false;
      forEachRow([&](Row& row) { writeRow(pass.out, *properties, settings->format, row); });
      pass.out.flush();
    }
  };
  const LoopEnd end = runPasses(output, onceOrEvery(settings->periodSeconds), runPass);
  return end == LoopEnd::finished ? 0 : -1;
}

}  // namespace zanctl
