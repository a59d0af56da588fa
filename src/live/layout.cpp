#include "live/layout.h"

#include <algorithm>
#include <array>

namespace zanctl::live {
namespace {

constexpr int kHead = 2;
constexpr int kFoot = 1;
constexpr int kHeading = 1;
constexpr int kWideFrom = 110;
constexpr int kBlockFrom = 78;
constexpr int kRowsBesideBlocks = 6;
constexpr int kValueWidth = 38;

int asInt(std::size_t number) { return static_cast<int>(std::min<std::size_t>(number, 1'000'000)); }

// The form with most to say for which all GPUs find room, and the processes a few rows.
GpuForm formFor(Size size, int gpus, int rows) {
  const int room = size.height - kHead - kFoot - kHeading - std::min(rows, kRowsBesideBlocks);
  for (const GpuForm form : {GpuForm::wide, GpuForm::tall, GpuForm::plain}) {
    if (size.width < (form == GpuForm::wide ? kWideFrom : kBlockFrom)) continue;
    if (gpus > 0 && gpus * heightOf(form) <= room) return form;
  }
  return GpuForm::line;
}

}  // namespace

int heightOf(GpuForm form) {
  constexpr std::array kHeights = {1, 5, 9, 5};
  return kHeights[static_cast<std::size_t>(form)];
}

OverviewLayout layoutOverview(Size size, std::size_t gpus, std::size_t rows) {
  OverviewLayout layout;
  layout.head = {0, 0, size.width, kHead};
  layout.foot = {0, size.height - kFoot, size.width, kFoot};
  layout.form = formFor(size, asInt(gpus), asInt(rows));
  const int room = size.height - kHead - kFoot - kHeading;
  int gpuHeight = asInt(gpus) * heightOf(layout.form);
  layout.gpusShown = gpus;
  if (layout.form == GpuForm::line) {
    const int lines = room - kHeading;
    const int kept = std::min(asInt(rows), std::max(2, lines / 3));
    gpuHeight = std::min(asInt(gpus), lines - kept);
    layout.gpusShown = static_cast<std::size_t>(gpuHeight);
    gpuHeight += kHeading;
  }
  layout.gpus = {0, kHead, size.width, gpuHeight};
  layout.processes = {0, layout.gpus.bottom(), size.width, layout.foot.y - layout.gpus.bottom()};
  layout.rowsShown = static_cast<std::size_t>(std::max(layout.processes.height - kHeading, 0));
  return layout;
}

DetailLayout layoutDetail(Size size, std::size_t values, std::size_t rows, int linkLines) {
  DetailLayout layout;
  layout.head = {0, 0, size.width, 1};
  layout.foot = {0, size.height - kFoot, size.width, kFoot};
  layout.columns = std::clamp(size.width / kValueWidth, 1, 4);
  const int wanted = (asInt(values) + layout.columns - 1) / layout.columns;
  const int room = size.height - 1 - kFoot;
  const int rowHeight = kHeading + std::min(asInt(rows), 3);
  const int valueHeight = std::min(wanted, std::max(room - rowHeight, 4));
  layout.values = {0, 1, size.width, valueHeight};
  int rest = room - valueHeight - rowHeight;
  const int links = std::clamp(rest, 0, linkLines);
  rest -= links;
  // More processes than three take from the graphs, but leave them most.
  const int more = std::clamp(asInt(rows) - 3, 0, std::max(rest / 3, 0));
  const int graphHeight = rest - more >= 4 ? rest - more : 0;
  layout.graphs = {0, layout.values.bottom(), size.width, graphHeight};
  layout.links = {0, layout.graphs.bottom(), size.width, links};
  const int top = layout.links.bottom();
  layout.processes = {0, top, size.width, std::max(layout.foot.y - top, 0)};
  layout.rowsShown = static_cast<std::size_t>(std::max(layout.processes.height - kHeading, 0));
  return layout;
}

LogLayout layoutLog(Size size, std::size_t gpus) {
  LogLayout layout;
  layout.head = {0, 0, size.width, 1};
  layout.foot = {0, size.height - kFoot, size.width, kFoot};
  const int room = size.height - 1 - kFoot - kHeading - 1;
  const int shown = std::clamp(asInt(gpus), 1, std::max(room / 2, 1));
  layout.gpus = {0, 1, size.width, shown + kHeading};
  layout.gpusShown = static_cast<std::size_t>(shown);
  layout.axis = {0, layout.foot.y - 1, size.width, 1};
  layout.graphs = {0, layout.gpus.bottom(), size.width, layout.axis.y - layout.gpus.bottom()};
  return layout;
}

std::size_t scrolledTo(std::size_t chosen, std::size_t top, std::size_t shown, std::size_t count) {
  if (shown == 0 || count <= shown) return 0;
  if (chosen < top) top = chosen;
  if (chosen >= top + shown) top = chosen - shown + 1;
  return std::min(top, count - shown);
}

Box partOf(const Box& box, int part, int parts) {
  const int begin = box.x + box.width * part / parts;
  const int end = box.x + box.width * (part + 1) / parts;
  return {begin, box.y, end - begin - (part + 1 < parts ? 1 : 0), box.height};
}

}  // namespace zanctl::live
