#include "reports/csv_query.h"

#include "request/options.h"

#include <array>

namespace zanctl {
namespace {

enum Modifier : unsigned { kCsv = 1, kNoHeader = 2, kNoUnits = 4 };

struct ModifierRow {
  std::string_view name;
  Modifier bit;
};
constexpr std::array<ModifierRow, 3> kModifiers = {
    {{"csv", kCsv}, {"noheader", kNoHeader}, {"nounits", kNoUnits}}};

std::optional<CsvFormat> checkFormat(const std::string& text, std::ostream& out) {
  unsigned mask = 0;
  for (const std::string_view piece : splitAtCommas(text)) {
    const auto isNamed = [piece](const ModifierRow& row) { return row.name == piece; };
    const auto modifier = std::find_if(kModifiers.begin(), kModifiers.end(), isNamed);
    if (modifier == kModifiers.end()) {
      out << "Format modifier is not recognized.\n";
      return std::nullopt;
    }
    mask |= modifier->bit;
  }
  if ((mask & kCsv) == 0) {
    out << "Format modifier --format=csv is mandatory.\n";
    return std::nullopt;
  }
  return CsvFormat{.header = (mask & kNoHeader) == 0, .units = (mask & kNoUnits) == 0};
}

}  // namespace

std::optional<CsvSettings> checkSettings(const CsvOptions& options, std::ostream& out) {
  const auto period = readLoop(options.loop, out);
  if (!period) return std::nullopt;
  if (!given(options.format)) {
    out << "\"--format=\" switch is missing. Please run 'zanctl -h' for help.\n";
    return std::nullopt;
  }
  const auto format = checkFormat(options.format, out);
  if (!format) return std::nullopt;
  return CsvSettings{*format, *period};
}

std::vector<std::string_view> formatModifiers() {
  std::vector<std::string_view> names;
  names.reserve(kModifiers.size());
  for (const ModifierRow& row : kModifiers) names.push_back(row.name);
  return names;
}

void refuseField(std::string_view field, std::ostream& out) {
  out << "Field \"" << field << "\" is not a valid field to query.\n\n";
}

}  // namespace zanctl
