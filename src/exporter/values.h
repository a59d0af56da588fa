// Readings in base units.
#pragma once

#include <optional>

namespace zanctl::exporter {

using Value = std::optional<double>;

inline constexpr double kHertzPerMegahertz = 1e6;
inline constexpr double kNanosecondsPerSecond = 1e9;
inline constexpr double kBytesPerKilobyte = 1000;
inline constexpr double kPercent = 100;

template <typename Figure>
Value plain(const std::optional<Figure>& figure) {
  return figure ? Value(static_cast<double>(*figure)) : std::nullopt;
}

template <typename Figure>
Value times(const std::optional<Figure>& figure, double factor) {
  return figure ? Value(static_cast<double>(*figure) * factor) : std::nullopt;
}

// A division, since 0.01 is not a number that doubles can hold.
template <typename Figure>
Value over(const std::optional<Figure>& figure, double divisor) {
  return figure ? Value(static_cast<double>(*figure) / divisor) : std::nullopt;
}

}  // namespace zanctl::exporter
