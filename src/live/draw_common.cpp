// The head, the foot, the help, and what all screens draw with.
#include "device/time.h"
#include "live/frame.h"

#include <fmt/format.h>

#include <algorithm>

namespace zanctl::live {
namespace {

std::string versionText(std::string_view what, const collector::Text& version) {
  return version ? fmt::format("{} {}", what, *version) : fmt::format("{} N/A", what);
}

std::string ofLimit(std::string_view what, const std::string& used, const std::string& limit) {
  return fmt::format("{} {}/{}", what, used, limit);
}

std::string gpuCount(std::size_t count) {
  return fmt::format("{} GPU{}", count, count == 1 ? "" : "s");
}

std::string problemText(const Model& model) {
  if (model.isEmpty()) return "waiting for the first values";
  if (!model.problem().empty()) return model.problem();
  return model.gpus().empty() ? "no GPU to show" : "";
}

std::string onlyGpuText(const Frame& frame) {
  const GpuEntry* const chosen = frame.chosenGpu();
  const bool only = frame.view.onlyChosenGpu && chosen != nullptr;
  return only ? fmt::format("processes of GPU {}", chosen->index) : "";
}

// What may have been asked for and is not all on the screen.
std::string restText(const Frame& frame) {
  const auto part = [](std::string_view what, std::size_t top, std::size_t shown,
                       std::size_t count) {
    return shown < count
               ? fmt::format("{} {}-{} of {}", what, top + 1, std::min(top + shown, count), count)
               : std::string();
  };
  const bool isOverview = frame.view.screen == Screen::overview;
  const OverviewLayout& layout = frame.overview;
  const DetailLayout& detail = frame.detail;
  const std::string text =
      isOverview ? part("GPUs", frame.view.gpuTop, layout.gpusShown, frame.model.gpus().size())
                 : part("values", frame.view.valueTop,
                        static_cast<std::size_t>(detail.values.height), detail.valueLines);
  const std::size_t shown = isOverview ? layout.rowsShown : detail.rowsShown;
  const std::string rows = part("processes", frame.view.rowTop, shown, frame.rows.size());
  return text.empty() || rows.empty() ? text + rows : text + ", " + rows;
}

}  // namespace

int putPieces(Surface& surface, const Box& box, std::vector<Piece> pieces) {
  std::erase_if(pieces, [](const Piece& piece) { return piece.text.empty(); });
  const auto width = [&pieces] {
    int cells = 0;
    for (const Piece& piece : pieces) cells += cellsOf(piece.text) + 2;
    return cells - 2;
  };
  while (pieces.size() > 1 && width() > box.width) {
    const auto last =
        std::max_element(pieces.begin(), pieces.end(),
                         [](const Piece& a, const Piece& b) { return a.rank < b.rank; });
    pieces.erase(last);
  }
  int x = box.x;
  for (const Piece& piece : pieces) x = surface.put(x, box.y, piece.text, piece.style) + 2;
  return x;
}

void drawTooSmall(Surface& surface) {
  const Size size = surface.size();
  const std::string text = fmt::format("zantop needs {}x{},", kLeastSize.width, kLeastSize.height);
  surface.put(0, 0, text, Style::warning);
  surface.put(0, 1, fmt::format("this is {}x{}", size.width, size.height));
}

void drawHead(Surface& surface, const Frame& frame, const Box& box) {
  const Model& model = frame.model;
  const Circumstances& circumstances = frame.circumstances;
  const std::string stamp = dateTimeStamp(circumstances.now);
  const bool narrow = box.width < 60;
  putPieces(
      surface, {box.x, box.y, box.width, 1},
      {{narrow ? circumstances.host.substr(0, circumstances.host.find('.')) : circumstances.host, 1,
        Style::heading},
       {narrow ? stamp.substr(11) : stamp, 0, Style::value},
       {gpuCount(model.gpus().size()), 2},
       {fmt::format("every {} s", intervalText(frame.view.settings.interval)), 3},
       {versionText("driver", model.driverVersion()), 5, Style::dim},
       {versionText("library", model.libraryVersion()), 6, Style::dim}});
  const Totals& totals = model.totals();
  const auto watts = [](const collector::BigNumber& power) { return withUnit(power, ""); };
  putPieces(surface, {box.x, box.y + 1, box.width, 1},
            {{frame.view.paused ? "PAUSED" : "", 1, Style::warning},
             {model.resetInProgress() ? "RESET IN PROGRESS" : "", 1, Style::bad},
             {circumstances.age > 0 ? fmt::format("VALUES ARE {} s OLD", circumstances.age) : "", 0,
              Style::bad},
             {problemText(model), 0, Style::warning},
             {model.gpus().empty()
                  ? ""
                  : ofLimit("power", watts(totals.powerUsed), watts(totals.powerLimit) + "W"),
              5},
             {model.gpus().empty() ? ""
                                   : ofLimit("memory", amountText(totals.memoryUsed),
                                             amountText(totals.memoryTotal)),
              4},
             {frame.view.filter.empty() ? "" : fmt::format("filter \"{}\"", frame.view.filter), 2,
              Style::marked},
             {onlyGpuText(frame), 3, Style::marked}});
}

void drawFoot(Surface& surface, const Frame& frame, const Box& box) {
  const View& view = frame.view;
  if (view.prompt == Prompt::filter) {
    surface.putLeft(box.x, box.y, box.width, fmt::format("/{}_", view.filter), Style::note);
    return;
  }
  if (view.prompt == Prompt::signal) {
    surface.putLeft(box.x, box.y, box.width, questionText(view.signal, box.width), Style::warning);
    return;
  }
  if (!view.note.empty()) {
    surface.putLeft(box.x, box.y, box.width, view.note, Style::note);
    return;
  }
  if (frame.circumstances.onPaper) {
    surface.put(box.x, box.y, restText(frame), Style::note);
    return;
  }
  const bool isDetail = view.screen == Screen::gpu;
  const bool scrollsValues = frame.detail.valueLines > std::size_t(frame.detail.values.height);
  const std::string_view other = !frame.actsOnRows() ? "Tab processes"
                                 : !isDetail         ? "Tab GPUs"
                                 : scrollsValues     ? "Tab values"
                                                     : "";
  putPieces(surface, box,
            {{restText(frame), 1, Style::value},
             {"? help", 0, Style::note},
             {"q quit", 3, Style::note},
             {std::string(other), 2, Style::note},
             {isDetail ? "Left Right other GPU" : "", 5, Style::note},
             {isDetail ? "Esc back" : "Enter details", 4, Style::note},
             {"/ filter", 6, Style::note},
             {"< > sort", 7, Style::note},
             {"s signal", 8, Style::note},
             {"Space pause", 9, Style::note}});
}

void drawRule(Surface& surface, const Box& box, std::string_view text, Style style) {
  const bool unicode = surface.charset() == Charset::unicode;
  std::string line;
  for (int i = 0; i < box.width; ++i) line += unicode ? "─" : "-";
  surface.putLeft(box.x, box.y, box.width, line, Style::dim);
  if (!text.empty())
    surface.putLeft(box.x + 1, box.y, std::min(cellsOf(text), box.width - 1), text, style);
}

void drawBarLine(Surface& surface, int x, int y, int width, float share, std::string_view text,
                 GraphKind kind) {
  const int textWidth = cellsOf(text);
  const int barWidth = width - textWidth - 1;
  if (barWidth >= 3) {
    const BarText bar = drawBar(share, barWidth, kind);
    const int behind = surface.put(x, y, bar.filled, shareStyle(share));
    surface.put(behind, y, bar.rest, Style::dim);
  }
  surface.putRight(x + width - textWidth, y, textWidth, text,
                   isKnown(share) ? Style::value : Style::dim);
}

void drawHistory(Surface& surface, const Box& box, const GpuEntry& entry, Series series,
                 GraphKind kind) {
  if (box.width <= 0 || box.height < 2) return;
  const Range range = rangeOf(series, entry.ranges);
  drawRule(surface, {box.x, box.y, box.width, 1},
           fmt::format("{} {}", seriesName(series), range.text), Style::dim);
  const auto count = static_cast<std::size_t>(box.width) * valuesPerCell(kind);
  const auto rows =
      drawGraph(entry.history.last(series, count), range.top, box.width, box.height - 1, kind);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    surface.put(box.x, box.y + 1 + static_cast<int>(i), rows[i], Style::graph);
  }
}

}  // namespace zanctl::live
