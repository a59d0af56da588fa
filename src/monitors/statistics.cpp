#include "monitors/statistics.h"

#include "device/board_power.h"
#include "device/readers.h"
#include "device/selection.h"
#include "device/time.h"
#include "output/pass_loop.h"
#include "output/text.h"
#include "request/option_values.h"

#include <algorithm>
#include <array>
#include <ostream>

namespace zanctl {
namespace {

constexpr std::uint64_t kPeriodSeconds = 1;
constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;

template <std::optional<std::uint32_t> MonitorReading::*field>
std::string number(const MonitorReading& reading) {
  const auto value = known(reading.*field);
  return value ? std::to_string(static_cast<std::int32_t>(*value)) : kUnavailableText;
}

struct Metric {
  std::string_view name;
  MonitorPart part;  // of a sample, that holds it
  std::string_view help;
  std::string (*text)(const MonitorReading&);
};

constexpr std::array kMetrics = std::to_array<Metric>({
    {"pwrDraw", kPower, "Device, Power Drawn (pwrDraw), Timestamp (us), Value (Watts)",
     number<&MonitorReading::power>},
    {"temp", kTemperature, "Device, GPU Temperature (temp), Timestamp (us), Value (C)",
     number<&MonitorReading::temperature>},
    {"gpuUtil", kUtilization, "Device, GPU Util (gpuUtil), Timestamp (us), Value (%)",
     number<&MonitorReading::gpuUtil>},
    {"memUtil", kUtilization, "Device, Memory Util (memUtil), Timestamp (us), Value (%)",
     number<&MonitorReading::memUtil>},
    {"encUtil", kEncoder, "Device, Encoder Util (encUtil), Timestamp (us), Value (%)",
     number<&MonitorReading::encUtil>},
    {"decUtil", kDecoder, "Device, Decoder Util (decUtil), Timestamp (us), Value (%)",
     number<&MonitorReading::decUtil>},
    {"procClk", kSmClock, "Device, Processor clock (procClk), Timestamp (us), Value (MHz)",
     number<&MonitorReading::smClock>},
    {"memClk", kMemClock, "Device, Memory clock (memClk), Timestamp (us), Value (MHz)",
     number<&MonitorReading::memClock>},
    {"violPwr", kViolationTime,
     "Device, Violation Pwr Cap (violPwr), Timestamp (us), Viol time (ns)",
     [](const MonitorReading& reading) {
       return std::to_string(reading.violationTime.value_or(0));
     }},
    {"violThm", kThrottleReasons,
     "Device, Violation Therm Cap (violThm), Timestamp (us), Viol bool (1/0)",
     [](const MonitorReading& reading) -> std::string {
       return reading.throttleReasons.value_or(0) != 0 ? "1" : "0";
     }},
});

constexpr MetricMask kAllMetrics = (1U << kMetrics.size()) - 1;

bool holdsMetric(MetricMask metrics, std::size_t metric) { return (metrics >> metric & 1U) != 0; }

// What a sample must hold for these metrics, a set of MonitorPart.
std::uint32_t partsOf(MetricMask metrics) {
  std::uint32_t parts = 0;
  for (std::size_t metric = 0; metric < kMetrics.size(); ++metric) {
    if (holdsMetric(metrics, metric)) parts |= kMetrics[metric].part;
  }
  return parts;
}

void writeSample(Output& output, std::uint32_t gpuIndex, const MonitorReading& reading,
                 MetricMask metrics) {
  for (std::size_t metric = 0; metric < kMetrics.size(); ++metric) {
    if (!holdsMetric(metrics, metric)) continue;
    const timeval now = currentTime();
    join(output.text(), Decimal(gpuIndex), ", ", kMetrics[metric].name, ", ",
         Decimal(now.tv_sec * kMicrosecondsPerSecond + now.tv_usec), ", ",
         metricText(metric, reading), "\n");
  }
  output.flush();
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

std::string metricText(std::size_t metric, const MonitorReading& reading) {
  return kMetrics.at(metric).text(reading);
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

int runStatistics(const StatsOptions& options, std::ostream& out) {
  DeviceSet selection;
  if (resolveDevices(options.id, selection, out) != 0) return -1;
  const auto count = readCount(options.count, out);
  if (!count) return -1;
  const auto metrics = given(options.display) ? parseMetrics(options.display) : kAllMetrics;
  if (!metrics) {
    out << "Failed to parse --display/-d flags \n";
    shutdownLibrary();
    return -1;
  }
  auto output = openOutput(options.filename, out);
  if (!output) return -1;
  const LoopPlan plan{
      .periodSeconds = kPeriodSeconds, .passCount = *count, .lastPass = LastPass::checked};
  return statusOf(runPasses(*output, plan, [&](const Pass& pass) {
    boardPowerTable().clear();
    forEachDevice(selection, [&](std::uint32_t index) {
      const MonitorReading reading = reader().readMonitorSample(partsOf(*metrics));
      writeSample(pass.output, index, reading, *metrics);
    });
  }));
}

}  // namespace zanctl
