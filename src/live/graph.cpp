#include "live/graph.h"

#include "live/history.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace zanctl::live {
namespace {

struct Kind {
  std::string_view name;
  int columns;  // values in a cell
  int levels;   // heights in a cell
};
constexpr std::array<Kind, 3> kKinds = {{{"braille", 2, 4}, {"block", 1, 8}, {"ascii", 1, 3}}};

const Kind& kindOf(GraphKind kind) { return kKinds[static_cast<std::size_t>(kind)]; }

constexpr std::array<std::string_view, 9> kBlocks = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array<std::string_view, 9> kSideBlocks = {" ", "▏", "▎", "▍", "▌",
                                                         "▋", "▊", "▉", "█"};
constexpr std::array<std::string_view, 4> kSigns = {" ", ".", ":", "#"};

// The dots of a column of a braille cell, from the bottom up.
constexpr std::array<std::array<unsigned, 4>, 2> kDots = {
    {{0x40, 0x04, 0x02, 0x01}, {0x80, 0x20, 0x10, 0x08}}};

std::string braille(int left, int right) {
  unsigned dots = 0;
  for (int level = 0; level < left; ++level) dots |= kDots[0][static_cast<std::size_t>(level)];
  for (int level = 0; level < right; ++level) dots |= kDots[1][static_cast<std::size_t>(level)];
  if (dots == 0) return " ";
  const unsigned code = 0x2800U + dots;
  return {static_cast<char>(0xE0U | code >> 12U), static_cast<char>(0x80U | (code >> 6U & 0x3FU)),
          static_cast<char>(0x80U | (code & 0x3FU))};
}

// Of the whole graph, in the levels of all its rows.
int levelOf(float value, float top, int levels) {
  if (!isKnown(value) || value <= 0 || top <= 0) return 0;
  return std::clamp(static_cast<int>(std::lround(value / top * static_cast<float>(levels))), 1,
                    levels);
}

}  // namespace

std::string_view graphName(GraphKind kind) { return kindOf(kind).name; }

bool graphKindOf(std::string_view name, GraphKind& kind) {
  for (std::size_t i = 0; i < kKinds.size(); ++i) {
    if (kKinds[i].name != name) continue;
    kind = static_cast<GraphKind>(i);
    return true;
  }
  return false;
}

std::size_t valuesPerCell(GraphKind kind) { return static_cast<std::size_t>(kindOf(kind).columns); }

std::vector<std::string> drawGraph(std::span<const float> values, float top, int width, int height,
                                   GraphKind kind) {
  const Kind& facts = kindOf(kind);
  std::vector<std::string> rows(static_cast<std::size_t>(std::max(height, 0)));
  std::vector<int> levels(static_cast<std::size_t>(std::max(width * facts.columns, 0)));
  for (std::size_t place = 0; place < std::min(levels.size(), values.size()); ++place) {
    levels[place] = levelOf(values[place], top, height * facts.levels);
  }
  const auto levelIn = [&](std::size_t place, int floor) {
    return std::clamp(levels[place] - floor, 0, facts.levels);
  };
  for (int row = 0; row < height; ++row) {
    const int floor = (height - 1 - row) * facts.levels;
    std::string& text = rows[static_cast<std::size_t>(row)];
    for (int cell = 0; cell < width; ++cell) {
      const auto place = static_cast<std::size_t>(cell) * static_cast<std::size_t>(facts.columns);
      const int level = levelIn(place, floor);
      if (kind == GraphKind::braille) {
        text += braille(level, levelIn(place + 1, floor));
      } else {
        const auto at = static_cast<std::size_t>(level);
        text += kind == GraphKind::block ? kBlocks[at] : kSigns[at];
      }
    }
  }
  return rows;
}

BarText drawBar(float share, int width, GraphKind kind) {
  BarText bar;
  if (width <= 0) return bar;
  const float part = isKnown(share) ? std::clamp(share, 0.0F, 1.0F) : 0.0F;
  const int levels = kind == GraphKind::ascii ? 1 : 8;
  const int filled = levelOf(part, 1, width * levels);
  for (int cell = 0; cell < width; ++cell) {
    const auto level = static_cast<std::size_t>(std::clamp(filled - cell * levels, 0, levels));
    if (level == 0) {
      bar.rest += kind == GraphKind::ascii ? "-" : "·";
    } else {
      bar.filled += kind == GraphKind::ascii ? "#" : kSideBlocks[level];
    }
  }
  return bar;
}

}  // namespace zanctl::live
