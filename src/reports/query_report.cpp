#include "reports/query_report.h"

#include "device/board_power.h"
#include "device/session.h"
#include "output/pass_loop.h"
#include "reports/text_report.h"
#include "reports/xml_report.h"
#include "request/option_values.h"
#include "request/options.h"

#include <algorithm>
#include <array>
#include <ostream>

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

// Calls `write` with each selected GPU.
template <typename Write>
void forEachGpu(const ReportOptions& options, const Pass& pass, const Write& write) {
  boardPowerTable().clear();
  forEachDevice(options.selection, [&](std::uint32_t) {
    GpuAttributes gpu(pass.start.tv_sec);
    write(gpu);
    pass.output.flush();
  });
}

std::function<void(const Pass&)> xmlPass(const ReportOptions& options) {
  return [&options, rows = layOutXml()](const Pass& pass) {
    writeXmlHead(pass.text(), collectHead(pass.start.tv_sec),
                 options.dtd ? Dtd::embedded : Dtd::external);
    forEachGpu(options, pass, [&](GpuAttributes& gpu) { writeXmlGpu(pass.output, rows, gpu); });
    writeXmlEnd(pass.text());
  };
}

std::function<void(const Pass&)> textPass(const ReportOptions& options, SectionMask mask) {
  return [&options, rows = layOutText(mask)](const Pass& pass) {
    writeTextHead(pass.text(), collectHead(pass.start.tv_sec));
    forEachGpu(options, pass, [&](GpuAttributes& gpu) { writeTextGpu(pass.output, rows, gpu); });
  };
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

int runQueryReport(const ReportOptions& options, std::ostream& out) {
  const auto period = readLoop(options.loop, out);
  if (!period) {
    out << "\n";
    return -1;
  }
  const auto mask = given(options.display) ? parseSections(options.display) : kFullReport;
  if (!mask) {
    out << "Failed to parse --display/-d flags \n";
    shutdownLibrary();
    return 0;
  }
  auto output = openOutput(options.filename, out);
  if (!output) return 0;
  LoopPlan plan = onceOrEvery(*period);
  plan.lastPass = LastPass::checked;
  runPasses(*output, plan, options.xmlFormat ? xmlPass(options) : textPass(options, *mask));
  return 0;
}

}  // namespace zanctl
