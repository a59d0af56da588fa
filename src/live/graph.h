// Graphs as text: values to rows of characters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl::live {

enum class GraphKind : std::uint8_t { braille, block, ascii };

// By the names "braille", "block" and "ascii".
std::string_view graphName(GraphKind kind);
bool graphKindOf(std::string_view name, GraphKind& kind);

// The values that stand side by side in a cell.
std::size_t valuesPerCell(GraphKind kind);

// The rows of a graph, top first, of so many cells each; 0 to `top` fill the height. There are
// `width * valuesPerCell()` values; unknown ones leave their place empty, and those above 0 show at
// least a speck.
std::vector<std::string> drawGraph(std::span<const float> values, float top, int width, int height,
                                   GraphKind kind);

// A bar of so many cells, of which the share of 0 to 1 is filled.
struct BarText {
  std::string filled;
  std::string rest;
};
BarText drawBar(float share, int width, GraphKind kind);

}  // namespace zanctl::live
