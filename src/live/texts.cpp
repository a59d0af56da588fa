#include "live/texts.h"

#include "device/time.h"

#include <fmt/format.h>

#include <array>

namespace zanctl::live {
namespace {

using collector::BigNumber;
using collector::Number;
using collector::Readings;

constexpr std::uint64_t kKiB = 1024;
constexpr std::uint64_t kMiB = kKiB * 1024;
constexpr std::uint64_t kGiB = kMiB * 1024;
constexpr std::uint64_t kTiB = kGiB * 1024;

constexpr std::uint32_t kNearSlowdown = 10;  // C
constexpr float kUsualTop = 100;             // C, without a threshold

}  // namespace

std::string bytesText(std::uint64_t bytes) {
  if (bytes == 0) return "0";
  if (bytes < kMiB) return fmt::format("{}K", bytes / kKiB);
  if (bytes < kGiB) return fmt::format("{}M", bytes / kMiB);
  if (bytes < kTiB) {
    return fmt::format("{:.1f}G", static_cast<double>(bytes) / static_cast<double>(kGiB));
  }
  return fmt::format("{:.2f}T", static_cast<double>(bytes) / static_cast<double>(kTiB));
}

std::string durationText(std::uint64_t seconds) {
  constexpr std::uint64_t kHour = 3600;
  constexpr std::uint64_t kDay = 24 * kHour;
  if (seconds < 60) return fmt::format("{}s", seconds);
  if (seconds < kDay) {
    return fmt::format("{}:{:02}:{:02}", seconds / kHour, seconds % kHour / 60, seconds % 60);
  }
  return fmt::format("{}d{:02}h", seconds / kDay, seconds % kDay / kHour);
}

std::string amountText(const BigNumber& bytes) {
  return bytes ? bytesText(*bytes) : std::string(kNotAvailable);
}

std::string memoryText(const collector::Memory& memory) {
  if (!memory.used && !memory.total) return std::string(kNotAvailable);
  return fmt::format("{}/{}", amountText(memory.used), amountText(memory.total));
}

std::string powerText(const Readings& readings) {
  const PowerFigures power = powerOf(readings);
  if (power.elsewhere) return "-";
  if (!power.used) return std::string(kNotAvailable);
  return power.limit ? fmt::format("{}/{}W", *power.used, *power.limit)
                     : fmt::format("{}W", *power.used);
}

std::string stateText(const Number& performanceState) {
  return performanceState ? fmt::format("P{}", *performanceState) : std::string(kNotAvailable);
}

std::string nameText(const Readings& readings) {
  return readings.identity.name.value_or(std::string(kNotAvailable));
}

std::string conditionText(const GpuEntry& entry) {
  if (entry.condition == GpuCondition::up) return {};
  const std::string_view what =
      entry.condition == GpuCondition::hung ? "HUNG, does not answer," : "LOST";
  if (entry.since == 0) return fmt::format("{} since before the start", what);
  return fmt::format("{} since {}", what, timeStamp(entry.since));
}

float shareOf(const Number& percent) { return valueOf(percent) / 100; }

float memoryShare(const collector::Memory& memory) {
  return memory.total == 0U ? kNoValue : valueOf(memory.used) / valueOf(memory.total);
}

Style temperatureStyle(const collector::Temperatures& temperature) {
  if (!temperature.gpu || !temperature.slowdown) return Style::plain;
  if (*temperature.gpu >= *temperature.slowdown) return Style::bad;
  return *temperature.gpu + kNearSlowdown >= *temperature.slowdown ? Style::warning : Style::plain;
}

Style shareStyle(float share) {
  if (!isKnown(share)) return Style::dim;
  return share >= 0.9F ? Style::warning : Style::bar;
}

std::vector<Remark> remarksOn(const Readings& readings) {
  std::vector<Remark> remarks;
  const auto& temperature = readings.temperature;
  if (const Style style = temperatureStyle(temperature); style != Style::plain) {
    remarks.push_back({'H', fmt::format("hot: slows down at {}C", *temperature.slowdown), style});
  }
  if (readings.clock.throttleReasons.value_or(0) != 0) {
    remarks.push_back(
        {'T', fmt::format("throttled ({:#x})", *readings.clock.throttleReasons), Style::warning});
  }
  const auto& memory = readings.memory;
  if (memory.doubleBitPages.value_or(0) != 0 || memory.singleBitPages.value_or(0) != 0) {
    remarks.push_back({'R',
                       fmt::format("retired pages {}+{}", memory.singleBitPages.value_or(0),
                                   memory.doubleBitPages.value_or(0)),
                       memory.doubleBitPages.value_or(0) != 0 ? Style::bad : Style::warning});
  }
  if (memory.eccEnabled && memory.eccPending && memory.eccEnabled != memory.eccPending) {
    remarks.push_back(
        {'E', fmt::format("ECC {} from the next reset", *memory.eccPending != 0 ? "on" : "off"),
         Style::warning});
  }
  const auto& pcie = readings.pcie;
  if (pcie.width && pcie.maxWidth && *pcie.width < *pcie.maxWidth) {
    remarks.push_back(
        {'L', fmt::format("PCIe x{} of x{}", *pcie.width, *pcie.maxWidth), Style::warning});
  }
  return remarks;
}

std::string codesOf(const std::vector<Remark>& remarks) {
  std::string codes;
  for (const Remark& remark : remarks) codes += remark.code;
  return codes;
}

Range rangeOf(Series series, const GraphRanges& ranges) {
  switch (series) {
    case Series::use:
      return {100, "0-100%"};
    case Series::memory: {
      if (ranges.memory == 0) return {0, ""};
      return {static_cast<float>(ranges.memory) / static_cast<float>(kMiB),
              fmt::format("0-{}", bytesText(ranges.memory))};
    }
    case Series::temperature: {
      const float top =
          ranges.temperature != 0 ? static_cast<float>(ranges.temperature) : kUsualTop;
      return {top, fmt::format("0-{:.0f}C", top)};
    }
    case Series::power:
      break;
  }
  if (ranges.power == 0) return {0, ""};
  return {static_cast<float>(ranges.power), fmt::format("0-{}W", ranges.power)};
}

std::string_view seriesName(Series series) {
  constexpr std::array<std::string_view, kSeries.size()> kNames = {"use", "memory", "temp",
                                                                   "power"};
  return kNames[static_cast<std::size_t>(series)];
}

}  // namespace zanctl::live
