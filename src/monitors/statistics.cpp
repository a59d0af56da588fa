#include "monitors/statistics.h"

#include "cli/selection.h"
#include "device/attributes.h"
#include "device/readers.h"
#include "device/session.h"
#include "device/time.h"
#include "monitors/monitor_options.h"
#include "output/option_text.h"
#include "output/pass_loop.h"

#include <fmt/ostream.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <string>

namespace zanctl {
namespace {

constexpr std::uint64_t kPeriodSeconds = 1;

template <std::uint32_t StatsReading::*field>
std::string number(const StatsReading& reading) {
  const std::uint32_t value = reading.*field;
  return value == kUnavailable ? kUnavailableText
                               : fmt::to_string(static_cast<std::int32_t>(value));
}

struct Metric {
  std::string_view name;
  std::string_view help;
  std::string (*text)(const StatsReading&);
};

constexpr std::array kMetrics = std::to_array<Metric>({
    {"pwrDraw", "Device, Power Drawn (pwrDraw), Timestamp (us), Value (Watts)",
     number<&StatsReading::power>},
    {"temp", "Device, GPU Temperature (temp), Timestamp (us), Value (C)",
     number<&StatsReading::temperature>},
    {"gpuUtil", "Device, GPU Util (gpuUtil), Timestamp (us), Value (%)",
     number<&StatsReading::gpuUtil>},
    {"memUtil", "Device, Memory Util (memUtil), Timestamp (us), Value (%)",
     number<&StatsReading::memUtil>},
    {"encUtil", "Device, Encoder Util (encUtil), Timestamp (us), Value (%)",
     number<&StatsReading::encUtil>},
    {"decUtil", "Device, Decoder Util (decUtil), Timestamp (us), Value (%)",
     number<&StatsReading::decUtil>},
    {"procClk", "Device, Processor clock (procClk), Timestamp (us), Value (MHz)",
     number<&StatsReading::smClock>},
    {"memClk", "Device, Memory clock (memClk), Timestamp (us), Value (MHz)",
     number<&StatsReading::memClock>},
    {"violPwr", "Device, Violation Pwr Cap (violPwr), Timestamp (us), Viol time (ns)",
     [](const StatsReading& reading) { return fmt::to_string(reading.violationTime); }},
    {"violThm", "Device, Violation Therm Cap (violThm), Timestamp (us), Viol bool (1/0)",
     [](const StatsReading& reading) -> std::string { return reading.throttled ? "1" : "0"; }},
});

constexpr MetricMask kAllMetrics = (1U << kMetrics.size()) - 1;

void writeSample(std::ostream& out, std::uint32_t gpuIndex, const StatsReading& reading,
                 MetricMask metrics) {
  for (std::size_t metric = 0; metric < kMetrics.size(); ++metric) {
    if ((metrics >> metric & 1U) == 0) continue;
    const timeval now = currentTime();
    fmt::print(out, "{}, {}, {}{:06}, {}\n", gpuIndex, kMetrics[metric].name, now.tv_sec,
               now.tv_usec, metricText(metric, reading));
    out.flush();
  }
}

}  // namespace

std::vector<std::string_view> metricNames() {
  std::vector<std::string_view> names;
  names.reserve(kMetrics.size());
  for (const Metric& metric : kMetrics) names.push_back(metric.name);
  return names;
}

std::optional<MetricMask> parseMetrics(std::string_view display) {
  MetricMask mask = 0;
  for (const std::string_view piece : splitAtCommas(display)) {
    const auto metric =
        std::find_if(kMetrics.begin(), kMetrics.end(),
                     [piece](const Metric& candidate) { return candidate.name == piece; });
    if (metric == kMetrics.end()) return std::nullopt;
    mask |= 1U << static_cast<unsigned>(metric - kMetrics.begin());
  }
  return mask;
}

std::string metricText(std::size_t metric, const StatsReading& reading) {
  return kMetrics.at(metric).text(reading);
}

StatsReading collectStatsSample() {
  StatsReading reading{};
  const auto boardId = attributes::boardId().value_or(kUnavailable);
  const auto boardPosition = attributes::boardPosition().value_or(kUnavailable);
  reading.power = powerOnBoard(boardId, boardPosition);
  reading.temperature = attributes::temperature().value_or(kUnavailable);
  const auto utilization =
      attributes::utilization().value_or(nvmlUtilization_t{kUnavailable, kUnavailable});
  reading.gpuUtil = utilization.gpu;
  reading.memUtil = utilization.memory;
  reading.encUtil = attributes::encoderUtilization().value_or(kUnavailable);
  reading.decUtil = attributes::decoderUtilization().value_or(kUnavailable);
  reading.smClock = attributes::clockInfo(NVML_CLOCK_SM).value_or(kUnavailable);
  reading.memClock = attributes::clockInfo(NVML_CLOCK_MEM).value_or(kUnavailable);
  reading.violationTime = attributes::violationTime(NVML_PERF_POLICY_THERMAL).value_or(0);
  reading.throttled = attributes::throttleReasons().value_or(0) != 0;
  return reading;
}

void printStatisticsHelp(std::ostream& out) {
  out << "Stats in following CSV format:\n";
  for (const Metric& metric : kMetrics) out << metric.help << "\n";
  out << "\n"
         "Example Command Line:\n"
         "zanctl stats : Stats for all the devices\n"
         "zanctl stats -d pwrDraw : Only pwr stats for all devices\n"
         "zanctl stats -i 0 : All stats for device 0\n"
         "zanctl stats -i 0 -d pwrDraw : Pwr stats for device 0\n"
         "zanctl stats -d pwrDraw,gpuUtil : Pwr and GPU util stats for all devices\n"
         "zanctl stats -i 0,1 : Stats for device 0 and device 1\n";
}

int runStatistics(const StatsOptions& options) {
  DeviceSet selection;
  if (resolveDevices(options.id, selection, std::cout) != 0) return -1;
  const auto count = readCountOption(options.count, std::cout);
  if (!count) return -1;
  const auto metrics = given(options.display) ? parseMetrics(options.display) : kAllMetrics;
  if (!metrics) {
    std::cout << "Failed to parse --display/-d flags \n";
    shutdownLibrary();
    return -1;
  }
  Output output(given(options.filename) ? options.filename : "");
  if (!output.usable()) {
    fmt::print(std::cout, "Failed to create the log file {}\n", output.fileName());
    return -1;
  }
  const LoopPlan plan{
      .periodSeconds = kPeriodSeconds, .passCount = *count, .lastPass = LastPass::checked};
  const LoopEnd end = runPasses(output, plan, [&](const Pass& pass) {
    for (std::uint32_t index = 0; index < session().deviceCount; ++index) {
      if (!isSelected(selection, index)) continue;
      session().currentDevice = index;
      writeSample(pass.out, index, collectStatsSample(), *metrics);
    }
  });
  return end == LoopEnd::finished ? 0 : -1;
}

}  // namespace zanctl
