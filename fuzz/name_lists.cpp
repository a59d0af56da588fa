// The comma-separated lists of names: report sections, metrics, format modifiers and properties.
#include "monitors/statistics.h"
#include "reports/compute_query.h"
#include "reports/csv_query.h"
#include "reports/property_query.h"
#include "reports/query_report.h"
#include "request/options.h"
#include "target.h"

#include <bit>
#include <map>
#include <sstream>

namespace {

using namespace zanctl;
using fuzz::expect;

using Mask = std::optional<unsigned>;

// `names` collects the spelling of each bit.
void checkMask(std::string_view list, Mask (*parse)(std::string_view),
               std::map<unsigned, std::string>& names) {
  Mask united = 0;
  fuzz::forEachPiece(list, ',', [&](std::string_view piece) {
    const Mask bit = parse(piece);
    if (bit) {
      expect(std::has_single_bit(*bit), "a name is a bit");
      expect(names.emplace(*bit, piece).first->second == piece, "a bit has one name");
    }
    united = bit && united ? Mask(*united | *bit) : std::nullopt;
  });
  expect(parse(list) == united, "a list means what its pieces mean, and nothing if one means none");
}

void checkFormat(const std::string& list) {
  unsigned csv = 0;
  unsigned noHeader = 0;
  unsigned noUnits = 0;
  unsigned other = 0;
  fuzz::forEachPiece(list, ',', [&](std::string_view piece) {
    ++(piece == "csv"        ? csv
       : piece == "noheader" ? noHeader
       : piece == "nounits"  ? noUnits
                             : other);
  });
  std::ostringstream out;
  const auto settings = checkSettings({{}, "", list, kUnset, ""}, out);
  expect(settings.has_value() == (csv > 0 && other == 0), "a format is csv and known modifiers");
  expect(settings.has_value() == out.str().empty(), "a refusal is explained");
  if (!settings) return;
  expect(settings->format.header == (noHeader == 0), "the header is there unless refused");
  expect(settings->format.units == (noUnits == 0), "the units are there unless refused");
}

void checkLoop(const std::string& text) {
  std::ostringstream out;
  const auto period = readLoop(text, out);
  expect(period.has_value() == out.str().empty(), "a refusal is explained");
  expect(!given(text) || !period || *period > 0, "a period is above 0");
}

template <typename Row>
void checkProperties(CsvTable<Row> table, const std::string& list) {
  std::ostringstream out;
  const auto found = findProperties(table, list, out);
  expect(found.has_value() == out.str().empty(), "a refusal is explained");
  if (!found) return;
  std::string names;
  std::size_t count = 0;
  fuzz::forEachPiece(list, ',', [&](std::string_view piece) {
    const auto& property = *found->at(count++);
    expect(!piece.empty() && (property.name == piece || property.alias == piece),
           "a property is found by its name or alias");
    names += std::string(names.empty() ? "" : ",") + std::string(property.name);
  });
  expect(count == found->size(), "a property is found for each name");
  expect(findProperties(table, names, out) == found, "names find what aliases find");

  std::string header;
  writeHeader(header, *found);
  std::size_t columns = 0;
  fuzz::forEachPiece(header, ',', [&](std::string_view) { ++columns; });
  expect(columns == count && header.ends_with('\n'), "the header has a column for each");
}

}  // namespace

void fuzz::examine(std::string_view input) {
  static std::map<unsigned, std::string> sections;
  static std::map<unsigned, std::string> metrics;
  const std::string list(input);
  checkMask(input, parseSections, sections);
  checkMask(input, parseMetrics, metrics);
  if (given(list)) checkFormat(list);
  checkLoop(list);
  checkProperties(gpuProperties(), list);
  checkProperties(computeAppProperties(), list);
}
