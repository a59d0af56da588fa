// From the room there is to boxes. Nothing here draws.
#pragma once

#include "live/surface.h"

#include <cstddef>

namespace zanctl::live {

inline constexpr Size kLeastSize = {40, 12};
inline bool isEnough(Size size) {
  return size.width >= kLeastSize.width && size.height >= kLeastSize.height;
}

enum class GpuForm {
  line,   // a row of a table
  plain,  // a block of values
  tall,   // the block with graphs below
  wide,   // the block with graphs beside
};
struct OverviewLayout {
  Box head;
  Box gpus;  // with the heading that lines have
  GpuForm form = GpuForm::line;
  int gpuHeight = 1;  // rows of a GPU
  std::size_t gpusShown = 0;
  Box processes;  // with its heading
  std::size_t rowsShown = 0;
  Box foot;
};
// Of a screen that is large enough, for so many GPUs and processes. It stays the same while
// processes come and go, as long as there are any.
OverviewLayout layoutOverview(Size size, std::size_t gpus, std::size_t processes);
// The least height, 24 or more, at which such a screen shows them all.
int wholeHeight(int width, std::size_t gpus, std::size_t processes);

struct DetailLayout {
  Box head;    // the title, what tells the GPU from all others, and its links
  Box values;  // in columns
  int columns = 1;
  std::size_t valueLines = 0;  // of a column; those that have no room are scrolled to
  Box graphs;                  // side by side; empty where there is no room
  Box processes;
  std::size_t rowsShown = 0;
  Box foot;
};
// For so many values and so many rows of processes.
DetailLayout layoutDetail(Size size, std::size_t values, std::size_t rows);

struct LogLayout {
  Box head;
  Box gpus;  // with the heading
  std::size_t gpusShown = 0;
  Box graphs;  // one above the other
  Box axis;
  Box foot;
};
LogLayout layoutLog(Size size, std::size_t gpus);

// The first of the rows shown: so that the chosen one is among them, moved no further than needed.
std::size_t scrolledTo(std::size_t chosen, std::size_t top, std::size_t shown, std::size_t count);

// Equal parts of the box, side by side with a gap between.
Box partOf(const Box& box, int part, int parts);

}  // namespace zanctl::live
