#include "reports/csv_query.h"

#include "cli/options.h"
#include "reports/loop_option.h"

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

std::optional<CsvSettings> checkSettings(const CsvRequest& request, std::ostream& out) {
  const auto period = readLoopOption(request.loop, out);
  if (!period) return std::nullopt;
  if (!given(request.format)) {
    out << "\"--format=\" switch is missing. Please run 'zanctl -h' for help.\n";
    return std::nullopt;
  }
  const auto format = checkFormat(request.format, out);
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
  fmt::print(out, "Field \"{}\" is not a valid field to query.\n\n", field);
}

}  // namespace zanctl
