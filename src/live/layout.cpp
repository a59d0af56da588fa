#include "live/layout.h"

#include <algorithm>
#include <array>

namespace zanctl::live {
namespace {

constexpr int kHead = 2;
constexpr int kFoot = 1;
constexpr int kHeading = 1;
constexpr int kRowsBesideBlocks = 6;
constexpr int kValueWidth = 38;

int asInt(std::size_t number) { return static_cast<int>(std::min<std::size_t>(number, 1'000'000)); }

struct FormFacts {
  int least;  // rows of a GPU
  int most;   // where graphs can grow
  int width;  // from which on it is used
};
constexpr std::array<FormFacts, 4> kForms = {{{1, 1, 0}, {5, 5, 78}, {9, 15, 78}, {5, 12, 110}}};

const FormFacts& factsOf(GpuForm form) { return kForms[static_cast<std::size_t>(form)]; }

// The form with most to say for which all GPUs find room, and a few processes.
GpuForm formFor(Size size, int gpus) {
  const int room = size.height - kHead - kFoot - kHeading - kRowsBesideBlocks;
  for (const GpuForm form : {GpuForm::wide, GpuForm::tall, GpuForm::plain}) {
    const FormFacts& facts = factsOf(form);
    if (gpus > 0 && size.width >= facts.width && gpus * facts.least <= room) return form;
  }
  return GpuForm::line;
}

}  // namespace

OverviewLayout layoutOverview(Size size, std::size_t gpus, std::size_t processes) {
  OverviewLayout layout;
  layout.head = {0, 0, size.width, kHead};
  layout.foot = {0, size.height - kFoot, size.width, kFoot};
  layout.form = formFor(size, asInt(gpus));
  layout.gpusShown = gpus;
  const int room = size.height - kHead - kFoot;
  int height = 0;
  if (layout.form == GpuForm::line) {
    const int lines = room - 2 * kHeading;
    const int kept = processes == 0 ? 1 : std::max(2, lines / 3);
    layout.gpusShown = std::min<std::size_t>(gpus, static_cast<std::size_t>(lines - kept));
    height = kHeading + asInt(layout.gpusShown);
  } else {
    const FormFacts& facts = factsOf(layout.form);
    layout.gpuHeight = std::clamp(room * 2 / 3 / asInt(gpus), facts.least, facts.most);
    height = asInt(gpus) * layout.gpuHeight;
  }
  layout.gpus = {0, kHead, size.width, height};
  layout.processes = {0, layout.gpus.bottom(), size.width, layout.foot.y - layout.gpus.bottom()};
  layout.rowsShown = static_cast<std::size_t>(std::max(layout.processes.height - kHeading, 0));
  return layout;
}

int wholeHeight(int width, std::size_t gpus, std::size_t processes) {
  constexpr int kMost = 100'000;
  int height = 24;
  for (; height < kMost; ++height) {
    const OverviewLayout layout = layoutOverview({width, height}, gpus, processes);
    if (layout.gpusShown >= gpus && layout.rowsShown >= processes) break;
  }
  return height;
}

DetailLayout layoutDetail(Size size, std::size_t values, std::size_t rows) {
  constexpr int kTitle = 3;
  constexpr int kUsualRows = 3;
  constexpr int kLeastGraph = 3;
  DetailLayout layout;
  layout.head = {0, 0, size.width, kTitle};
  layout.foot = {0, size.height - kFoot, size.width, kFoot};
  layout.columns = std::clamp(size.width / kValueWidth, 1, 4);
  const int wanted = (asInt(values) + layout.columns - 1) / layout.columns;
  layout.valueLines = static_cast<std::size_t>(wanted);
  const int room = size.height - kTitle - kFoot;
  const int rowHeight = kHeading + std::clamp(asInt(rows), 1, kUsualRows);
  const int valueHeight = std::min(wanted, std::max(room - rowHeight, 4));
  layout.values = {0, layout.head.bottom(), size.width, valueHeight};
  const int rest = room - valueHeight - rowHeight;
  // More processes take from the graphs, but leave them most.
  const int more = std::clamp(asInt(rows) - kUsualRows, 0, std::max(rest / 3, 0));
  const int graphHeight = rest - more >= kLeastGraph ? rest - more : 0;
  layout.graphs = {0, layout.values.bottom(), size.width, graphHeight};
  const int top = layout.graphs.bottom();
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
