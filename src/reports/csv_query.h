// What the CSV queries have in common: the checks of their options, the header, the values and the
// loop. A query adds a table of properties and a source of rows.
#pragma once

#include "device/board_power.h"
#include "device/selection.h"
#include "output/pass_loop.h"
#include "output/text.h"
#include "request/option_values.h"

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
  // Appends the value; false when it is unavailable.
  bool (*write)(std::string& text, Row& row);
};

struct CsvOptions {
  DeviceSet selection;
  std::string properties;  // the comma-separated names asked for
  std::string format;      // the options' texts
  std::string loop;
  std::string filename;
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
std::optional<CsvSettings> checkSettings(const CsvOptions& options, std::ostream& out);

// The words of the --format option.
std::vector<std::string_view> formatModifiers();

// Names `field` as no property of a query.
void refuseField(std::string_view field, std::ostream& out);

template <typename Row>
using CsvTable = std::span<const CsvProperty<Row>>;

template <typename Row>
int printPropertyHelp(CsvTable<Row> table, std::ostream& out) {
  for (const auto& property : table) {
    out << '"' << property.name << '"';
    if (!property.alias.empty()) out << " or \"" << property.alias << '"';
    out << '\n' << property.help << '\n';
  }
  return 0;
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
void writeHeader(std::string& text, const std::vector<const CsvProperty<Row>*>& properties) {
  std::string_view separator;
  for (const auto* property : properties) {
    join(text, separator, property->name);
    if (!property->unit.empty()) join(text, " [", property->unit, "]");
    separator = ", ";
  }
  text += '\n';
}

template <typename Row>
void writeRow(std::string& text, const std::vector<const CsvProperty<Row>*>& properties,
              const CsvFormat& format, Row& row) {
  std::string_view separator;
  for (const auto* property : properties) {
    text += separator;
    if (!property->write(text, row)) {
      text += "[N/A]";
    } else if (format.units && !property->unit.empty()) {
      join(text, " ", property->unit);
    }
    separator = ", ";
  }
  text += '\n';
}

// Runs a query: `forEachRow` calls its argument with every row of the current GPU. Returns 0, or -1
// after saying what was refused or lost.
template <typename Row, typename ForEachRow>
int runCsvQuery(const CsvOptions& options, CsvTable<Row> table, const ForEachRow& forEachRow,
                std::ostream& out) {
  const auto settings = checkSettings(options, out);
  if (!settings) return -1;
  const auto properties = findProperties(table, options.properties, out);
  if (!properties) return -1;
  auto output = openOutput(options.filename, out);
  if (!output) return -1;
  bool headerDue = settings->format.header;
  const auto runPass = [&](const Pass& pass) {
    boardPowerTable().clear();
    forEachDevice(options.selection, [&](std::uint32_t) {
      if (headerDue) writeHeader(pass.text(), *properties);
      headerDue = false;
      forEachRow([&](Row& row) {
        writeRow(pass.text(), *properties, settings->format, row);
        pass.output.flushIfLong();
      });
      pass.output.flush();
    });
  };
  return statusOf(runPasses(*output, onceOrEvery(settings->periodSeconds), runPass));
}

}  // namespace zanctl
