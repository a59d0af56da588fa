// The detailed report of -q: its options, and the choice between text and XML.
#pragma once

#include "cli/options.h"
#include "cli/selection.h"
#include "reports/gpu_report.h"

#include <optional>
#include <span>
#include <string_view>

namespace zanctl {

// 0, or -1 when the loop period is refused.
int runQueryReport(const CommandOptions& options, const DeviceSet& selection);

// The keyword of every section, by bit number.
std::span<const std::string_view> sectionKeywords();

// The sections that a comma-separated list of keywords names; empty when one of them names none.
std::optional<SectionMask> parseSections(std::string_view display);

}  // namespace zanctl
