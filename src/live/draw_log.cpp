// A recorded day: the moment's values above, the day's graphs below.
#include "live/frame.h"
#include "live/log_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace zanctl::live {
namespace {

struct LogColumn {
  std::string_view heading;
  LogSeries series;
  std::string_view unit;
};
constexpr std::array kColumnsOfLog = std::to_array<LogColumn>({
    {"POWER", LogSeries::power, "W"},
    {"TEMP", LogSeries::temperature, "C"},
    {"SM", LogSeries::sm, "%"},
    {"MEM", LogSeries::memory, "%"},
    {"ENC", LogSeries::encoder, "%"},
    {"DEC", LogSeries::decoder, "%"},
    {"SM CLK", LogSeries::smClock, "MHz"},
    {"MEM CLK", LogSeries::memoryClock, "MHz"},
});
constexpr int kColumnWidth = 7;

std::string textOf(float value, std::string_view unit) {
  return isKnown(value) ? fmt::format("{:.0f}{}", value, unit) : "-";
}

void drawMoment(Surface& surface, const LogData& data, const LogView& view, const LogLayout& layout,
                GraphKind kind) {
  const int width = layout.gpus.width;
  const auto columns = std::min<std::size_t>(
      kColumnsOfLog.size(), static_cast<std::size_t>((width - kIndexWidth) / (kColumnWidth + 1)));
  const int barX = kIndexWidth + static_cast<int>(columns) * (kColumnWidth + 1);
  const int barWidth = std::min(width - barX - 1, 40);
  int y = layout.gpus.y;
  surface.put(0, y, "GPU", Style::dim);
  for (std::size_t c = 0; c < columns; ++c) {
    surface.putRight(kIndexWidth + static_cast<int>(c) * (kColumnWidth + 1), y, kColumnWidth,
                     kColumnsOfLog[c].heading, Style::dim);
  }
  if (barWidth >= kLeastBar) surface.put(barX + 1, y, "SM USE", Style::dim);
  const std::size_t end = std::min(view.gpuTop + layout.gpusShown, data.gpus().size());
  for (std::size_t gpu = view.gpuTop; gpu < end; ++gpu) {
    ++y;
    const bool chosen = gpu == view.gpu;
    surface.putRight(0, y, kIndexWidth - 1,
                     fmt::format("{}{}", chosen ? ">" : "", data.gpus()[gpu]),
                     chosen ? Style::chosen : Style::heading);
    for (std::size_t c = 0; c < columns; ++c) {
      const float value = data.value(gpu, kColumnsOfLog[c].series, view.moment);
      surface.putRight(kIndexWidth + static_cast<int>(c) * (kColumnWidth + 1), y, kColumnWidth,
                       textOf(value, kColumnsOfLog[c].unit),
                       isKnown(value) ? Style::plain : Style::dim);
    }
    if (barWidth < kLeastBar) continue;
    const float share = data.value(gpu, LogSeries::sm, view.moment) / 100;
    const BarText bar = drawBar(share, barWidth, kind);
    const int behind = surface.put(barX + 1, y, bar.filled, shareStyle(share));
    surface.put(behind, y, bar.rest, Style::dim);
  }
}

// The end of a graph's range.
float topOf(const LogData& data, LogSeries series) {
  constexpr float kStep = 50;
  if (series != LogSeries::power) return 100;
  return std::max(std::ceil(data.greatest(series) / kStep), 1.0F) * kStep;
}

void drawDay(Surface& surface, const LogData& data, const LogView& view, const Box& box,
             GraphKind kind) {
  constexpr std::array kShown = {LogSeries::sm, LogSeries::memory, LogSeries::temperature,
                                 LogSeries::power};
  const int parts = std::clamp(box.height / 3, 1, static_cast<int>(kShown.size()));
  const auto width = static_cast<std::size_t>(box.width);
  const auto cursor = static_cast<int>(data.stretchOf(view.moment, width));
  for (int part = 0; part < parts; ++part) {
    const LogSeries series = kShown[static_cast<std::size_t>(part)];
    const int y = box.y + box.height * part / parts;
    const int height = box.y + box.height * (part + 1) / parts - y - 1;
    if (height < 1) continue;
    const float top = topOf(data, series);
    const std::string_view unit = series == LogSeries::temperature ? "C"
                                  : series == LogSeries::power     ? "W"
                                                                   : "%";
    drawRule(surface, {box.x, y, box.width, 1},
             fmt::format("GPU {} {} 0-{:.0f}{}", data.gpus()[view.gpu], logSeriesName(series), top,
                         unit),
             Style::dim);
    const auto rows = drawGraph(data.overview(view.gpu, series, width * valuesPerCell(kind)), top,
                                box.width, height, kind);
    for (int row = 0; row < height; ++row) {
      surface.put(box.x, y + 1 + row, rows[static_cast<std::size_t>(row)], Style::graph);
      surface.put(box.x + cursor, y + 1 + row, surface.charset() == Charset::unicode ? "│" : "|",
                  Style::value);
    }
  }
}

void drawAxis(Surface& surface, const LogData& data, const LogView& view, const Box& box) {
  constexpr int kTimeWidth = 8;
  const auto& moments = data.moments();
  surface.put(box.x, box.y, timeText(moments.front()), Style::dim);
  surface.put(box.right() - kTimeWidth, box.y, timeText(moments.back()), Style::dim);
  const auto cursor =
      static_cast<int>(data.stretchOf(view.moment, static_cast<std::size_t>(box.width)));
  surface.put(std::clamp(cursor - kTimeWidth / 2, 0, box.width - kTimeWidth), box.y,
              timeText(moments[view.moment]), Style::chosen);
}

// What is not on the screen, and what is not in the day.
std::vector<Piece> footPieces(const LogData& data, const LogView& view, const LogLayout& layout) {
  std::vector<Piece> pieces;
  if (layout.gpusShown < data.gpus().size()) {
    pieces.push_back({fmt::format("GPUs {}-{} of {}", view.gpuTop + 1,
                                  view.gpuTop + layout.gpusShown, data.gpus().size()),
                      2, Style::value});
  }
  if (const std::size_t broken = data.brokenLines(); broken > 0) {
    pieces.push_back({fmt::format("{} broken line{} left out", broken, broken == 1 ? "" : "s"), 1,
                      Style::warning});
  }
  return pieces;
}

}  // namespace

void drawLog(Surface& surface, const LogData& data, const LogView& view, const LogLayout& layout,
             const LogCircumstances& circumstances) {
  if (!isEnough(surface.size())) {
    drawTooSmall(surface);
    return;
  }
  if (view.help) {
    drawHelp(surface, "Keys of zantop for a recorded day", logKeyHelp(), view.helpTop);
    return;
  }
  const auto& moments = data.moments();
  if (moments.empty()) {
    surface.put(0, 0, circumstances.file, Style::heading);
    surface.put(0, 2, "the log has no samples of these GPUs and hours yet", Style::warning);
  } else {
    putPieces(surface, {0, 0, surface.size().width, 1},
              {{timeText(moments[view.moment]), 0, Style::value},
               {fmt::format("sample {} of {}", view.moment + 1, moments.size()), 1},
               {view.follows ? "following" : "", 2, Style::good},
               {circumstances.file, 3, Style::dim}});
    drawMoment(surface, data, view, layout, circumstances.graph);
    drawDay(surface, data, view, layout.graphs, circumstances.graph);
    drawAxis(surface, data, view, layout.axis);
  }
  const Box& foot = layout.foot;
  if (view.asksTime) {
    surface.put(0, foot.y, fmt::format("To the time: {}_", view.input), Style::note);
    return;
  }
  std::vector<Piece> pieces = footPieces(data, view, layout);
  if (!view.note.empty()) {
    pieces.push_back({view.note, 0, Style::note});
  } else if (!circumstances.onPaper) {
    pieces.insert(pieces.end(), {{"? help", 0, Style::note},
                                 {"q quit", 3, Style::note},
                                 {"Left Right sample", 6, Style::note},
                                 {"t time", 5, Style::note},
                                 {"n unusual", 4, Style::note},
                                 {"Tab GPU", 7, Style::note}});
  }
  putPieces(surface, foot, std::move(pieces));
}

}  // namespace zanctl::live
