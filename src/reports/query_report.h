// The detailed report of -q: its options, and the choice between text and XML.
#pragma once

#include "device/selection.h"
#include "reports/gpu_report.h"

#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace zanctl {

struct ReportOptions {
  DeviceSet selection;
  bool xmlFormat = false;
  bool dtd = false;
  std::string display;  // the options' texts
  std::string loop;
  std::string filename;
};

// 0, or -1 when the loop period is refused.
int runQueryReport(const ReportOptions& options, std::ostream& out);

// The keyword of every section, by bit number.
std::span<const std::string_view> sectionKeywords();

// The sections that a comma-separated list of keywords names; empty when one of them names none.
std::optional<SectionMask> parseSections(std::string_view display);

}  // namespace zanctl
