// What a cell means. How that looks is the theme's business, and never the only sign of it.
#pragma once

#include <cstdint>

namespace zanctl::live {

enum class Style : std::uint8_t {
  plain,
  dim,      // frames, units, what is less important
  heading,  // of columns and screens
  value,    // the figures that are looked for first
  good,
  warning,
  bad,
  bar,  // the filled part of a bar
  graph,
  chosen,  // the row that keys act on
  marked,
  note,  // the line at the foot
};
inline constexpr std::size_t kStyles = 12;

}  // namespace zanctl::live
