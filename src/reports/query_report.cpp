#include "reports/query_report.h"

#include "device/session.h"
#include "device/time.h"
#include "output/option_text.h"
#include "output/pass_loop.h"
#include "reports/loop_option.h"
#include "reports/text_report.h"
#include "reports/xml_report.h"

#include <fmt/ostream.h>

#include <algorithm>
#include <array>
#include <iostream>

namespace zanctl {
namespace {

// By bit number.
constexpr std::array<std::string_view, 11> kKeywords = {
    "MEMORY",      "UTILIZATION",     "ECC",  "TEMPERATURE",     "POWER", "CLOCK", "COMPUTE",
    "PERFORMANCE", "PAGE_RETIREMENT", "PIDS", "HARDWARE_MONITOR"};
static_assert(kKeywords.size() == static_cast<std::size_t>(Section::hardwareMonitor) + 1);

ReportHead collectHead(std::time_t time) {
  return {time, driverVersion(), cudaVersion(), session().deviceCount};
}

// Calls `write` with the report of each selected GPU, in the order of their indices.
template <typename Write>
void forEachReport(const DeviceSet& selection, SectionMask mask, const Write& write) {
  for (std::uint32_t index = 0; index < session().deviceCount; ++index) {
    if (!isSelected(selection, index)) continue;
    session().currentDevice = index;
    write(collectGpuReport(mask));
  }
}

void runPassesInto(const CommandOptions& options, std::uint64_t periodSeconds,
                   const std::function<void(const Pass&)>& runPass) {
  Output output(given(options.filename) ? options.filename : "");
  if (!output.usable()) {
    fmt::print(std::cout, "Failed to create the log file {}\n", output.fileName());
    return;
  }
  LoopPlan plan = onceOrEvery(periodSeconds);
  plan.lastPass = LastPass::checked;
  runPasses(output, plan, runPass);
}

}  // namespace

std::span<const std::string_view> sectionKeywords() { return kKeywords; }

std::optional<SectionMask> parseSections(std::string_view display) {
  SectionMask mask = 0;
  for (const std::string_view piece : splitAtCommas(display)) {
    const auto keyword = std::find(kKeywords.begin(), kKeywords.end(), piece);
    if (keyword == kKeywords.end()) return std::nullopt;
    mask |= 1U << static_cast<unsigned>(keyword - kKeywords.begin());
  }
  return mask;
}

int runQueryReport(const CommandOptions& options, const DeviceSet& selection) {
  const auto period = readLoopOption(options.loop, std::cout);
  if (!period) {
    std::cout << "\n";
    return -1;
  }
  if (options.xmlFormat) {
    runPassesInto(options, *period, [&](const Pass& pass) {
      writeXmlHead(pass.out, collectHead(pass.start.tv_sec),
                   options.dtd ? Dtd::embedded : Dtd::external);
      forEachReport(selection, kFullReport,
                    [&](const GpuReport& report) { writeXmlGpu(pass.out, report); });
      writeXmlEnd(pass.out);
    });
    return 0;
  }
  const auto mask = given(options.display) ? parseSections(options.display) : kFullReport;
  if (!mask) {
    std::cout << "Failed to parse --display/-d flags \n";
    shutdownLibrary();
    return 0;
  }
  runPassesInto(options, *period, [&](const Pass& pass) {
    writeTextHead(pass.out, collectHead(pass.start.tv_sec));
    forEachReport(selection, *mask,
                  [&](const GpuReport& report) { writeTextGpu(pass.out, report, *mask); });
  });
  return 0;
}

}  // namespace zanctl
