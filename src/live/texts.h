// How values read on the screen.
#pragma once

#include "live/model.h"
#include "live/style.h"

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl::live {

inline constexpr std::string_view kNotAvailable = "N/A";

std::string bytesText(std::uint64_t bytes);       // "512M", "18.0G", "3.50T"
std::string durationText(std::uint64_t seconds);  // "59s", "1:00:05", "3d04h"

// The number and its unit, else "N/A".
template <typename Figure>
std::string withUnit(const std::optional<Figure>& figure, std::string_view unit) {
  return figure ? std::to_string(*figure) + std::string(unit) : std::string(kNotAvailable);
}
std::string amountText(const collector::BigNumber& bytes);

// "18.0G/32.0G".
std::string memoryText(const collector::Memory& memory);
// "421/500W"; "-" where the board's first GPU has it.
std::string powerText(const collector::Readings& readings);
std::string stateText(const collector::Number& performanceState);  // "P0"
std::string nameText(const collector::Readings& readings);
// "lost since 10:00:00"; empty for a GPU that is up.
std::string conditionText(const GpuEntry& entry);

// Shares of 0 to 1; not known without one of the figures.
float shareOf(const collector::Number& percent);
float memoryShare(const collector::Memory& memory);

// By the distance to the threshold at which the GPU slows down.
Style temperatureStyle(const collector::Temperatures& temperature);
Style shareStyle(float share);

// What an operator should know of a GPU: a code where there is little room, and a text.
struct Remark {
  char code;
  std::string text;
  Style style;
};
std::vector<Remark> remarksOn(const collector::Readings& readings);
std::string codesOf(const std::vector<Remark>& remarks);

// The end of the range that graphs of a series have, and how it reads.
struct Range {
  float top;
  std::string text;
};
Range rangeOf(Series series, const GraphRanges& ranges);
std::string_view seriesName(Series series);

}  // namespace zanctl::live
