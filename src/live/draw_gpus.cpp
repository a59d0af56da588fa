// GPUs as lines of a table and as blocks.
#include "live/frame.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace zanctl::live {
namespace {

using collector::Readings;

enum class Fill : std::uint8_t { text, smBar, memoryBar, history };

struct LineColumn {
  std::string_view heading;
  int width;
  int rank;  // columns of higher ranks make way first
  Fill fill;
  std::string (*text)(const GpuEntry& entry);
  Style (*style)(const Readings& readings);
};

Style plainStyle(const Readings& /*readings*/) { return Style::plain; }

#define ZANTOP_TEXT(expression)                          \
  [](const GpuEntry& entry) -> std::string {             \
    const Readings& r [[maybe_unused]] = entry.readings; \
    return expression;                                   \
  }

constexpr std::array kLineColumns =
    std::to_array<LineColumn>({
        {"NAME", 18, 11, Fill::text, ZANTOP_TEXT(nameText(r)), plainStyle},
        {"BUS ID", 16, 13, Fill::text, ZANTOP_TEXT(r.identity.pciBusId.value_or("N/A")),
         plainStyle},
        {"TEMP", 5, 0, Fill::text, ZANTOP_TEXT(withUnit(r.temperature.gpu, "C")),
         [](const Readings& r) { return temperatureStyle(r.temperature); }},
        {"FAN", 4, 12, Fill::text, ZANTOP_TEXT(withUnit(r.temperature.fanSpeed, "%")), plainStyle},
        {"POWER", 9, 2, Fill::text, ZANTOP_TEXT(powerText(r)), plainStyle},
        {"PST", 3, 7, Fill::text, ZANTOP_TEXT(stateText(r.clock.performanceState)), plainStyle},
        {"SM CLOCK", 8, 8, Fill::text, ZANTOP_TEXT(withUnit(r.clock.sm, "MHz")), plainStyle},
        {"SM", 5, 0, Fill::smBar, ZANTOP_TEXT(withUnit(r.utilization.sm, "%")), plainStyle},
        {"MEMORY", 12, 1, Fill::memoryBar, ZANTOP_TEXT(memoryText(r.memory)), plainStyle},
        {"MEM", 4, 6, Fill::text, ZANTOP_TEXT(withUnit(r.utilization.memory, "%")), plainStyle},
        {"ENC", 4, 5, Fill::text, ZANTOP_TEXT(withUnit(r.utilization.encoder, "%")), plainStyle},
        {"DEC", 4, 5, Fill::text, ZANTOP_TEXT(withUnit(r.utilization.decoder, "%")), plainStyle},
        {"SM BEFORE", 16, 10, Fill::history, ZANTOP_TEXT({}), plainStyle},
        {"!", 5, 0, Fill::text, ZANTOP_TEXT(codesOf(remarksOn(entry.readings))),
         [](const Readings& r) {
           const auto remarks = remarksOn(r);
           return remarks.empty() ? Style::plain : remarks.front().style;
         }},
    });
#undef ZANTOP_TEXT

constexpr int kLongestBar = 30;
constexpr int kBarRank = 3;

bool isBar(const LineColumn& column) {
  return column.fill == Fill::smBar || column.fill == Fill::memoryBar;
}

bool isLeftAligned(const LineColumn& column) {
  return !isBar(column) && (column.width > 9 || column.heading == "!");
}

struct PlacedColumn {
  const LineColumn* column;
  int width;
};

std::vector<PlacedColumn> placeLine(int width) {
  std::vector<PlacedColumn> placed;
  int rest = width - kIndexWidth;
  for (const LineColumn& column : kLineColumns) {
    placed.push_back({&column, column.width});
    rest -= column.width + 1;
  }
  const auto dropTo = [&](int rank, int room) {
    while (rest < room) {
      const auto last = std::max_element(
          placed.begin(), placed.end(),
          [](const auto& a, const auto& b) { return a.column->rank < b.column->rank; });
      if (last->column->rank <= rank) return;
      rest += last->width + 1;
      placed.erase(last);
    }
  };
  // Bars come before columns of lesser use.
  dropTo(kBarRank, 2 * kLeastBar);
  dropTo(0, 0);
  if (rest < 2 * kLeastBar) return placed;
  for (PlacedColumn& column : placed) {
    if (isBar(*column.column)) column.width += std::min(rest / 2, kLongestBar);
  }
  return placed;
}

float shareIn(Fill fill, const Readings& readings) {
  return fill == Fill::smBar ? shareOf(readings.utilization.sm) : memoryShare(readings.memory);
}

bool isChosen(const Frame& frame, std::size_t place) {
  return place == frame.view.gpu && frame.view.focus == Focus::gpus;
}

void drawLine(Surface& surface, const Frame& frame, const std::vector<PlacedColumn>& columns, int y,
              std::size_t place) {
  const GpuEntry& entry = frame.model.gpus()[place];
  const Style style = isChosen(frame, place) ? Style::chosen : Style::heading;
  surface.putRight(0, y, kIndexWidth - 1,
                   fmt::format("{}{}", place == frame.view.gpu ? ">" : "", entry.index), style);
  if (entry.condition != GpuCondition::up) {
    const int x = surface.put(kIndexWidth, y, conditionText(entry), Style::bad);
    surface.put(x + 2, y, nameText(entry.readings), Style::dim);
    return;
  }
  int x = kIndexWidth;
  for (const auto& [column, width] : columns) {
    const std::string text = column->text(entry);
    const Style own = column->style(entry.readings);
    if (column->fill == Fill::history) {
      const GraphKind kind = frame.circumstances.graph;
      const auto values =
          entry.history.last(Series::use, static_cast<std::size_t>(width) * valuesPerCell(kind));
      surface.put(x, y, drawGraph(values, 100, width, 1, kind).front(), Style::graph);
    } else if (isBar(*column)) {
      drawBarLine(surface, x, y, width, shareIn(column->fill, entry.readings),
                  fmt::format("{:>{}}", text, column->width), frame.circumstances.graph);
    } else if (isLeftAligned(*column)) {
      surface.putLeft(x, y, width, shortened(text, width), own);
    } else {
      surface.putRight(x, y, width, text, text == kNotAvailable ? Style::dim : own);
    }
    x += width + 1;
  }
}

void drawTitle(Surface& surface, const Frame& frame, const Box& box, std::size_t place) {
  const GpuEntry& entry = frame.model.gpus()[place];
  drawRule(surface, box, "", Style::dim);
  const auto& identity = entry.readings.identity;
  const Style style = isChosen(frame, place) ? Style::chosen : Style::heading;
  const std::string mark = place == frame.view.gpu ? ">" : " ";
  int x = surface.put(box.x, box.y,
                      fmt::format("{}{} {}", mark, entry.index, nameText(entry.readings)), style);
  x = surface.put(x, box.y,
                  fmt::format(" {} ", identity.pciBusId.value_or(std::string(kNotAvailable))),
                  Style::dim);
  if (entry.condition != GpuCondition::up) {
    surface.put(x, box.y, conditionText(entry) + " ", Style::bad);
    return;
  }
  for (const Remark& remark : remarksOn(entry.readings)) {
    if (x + 1 + cellsOf(remark.text) > box.right()) break;
    x = surface.put(x, box.y, remark.text + " ", remark.style);
  }
}

void drawFigures(Surface& surface, const Box& box, const Readings& r) {
  const std::array<std::array<DetailValue, 2>, 4> figures = {{
      {{{"temp",
         fmt::format("{}{}", withUnit(r.temperature.gpu, "C"),
                     r.temperature.slowdown ? fmt::format(" of {}C", *r.temperature.slowdown) : ""),
         temperatureStyle(r.temperature)},
        {"SM", withUnit(r.clock.sm, "MHz")}}},
      {{{"power", powerText(r)}, {"mem", withUnit(r.clock.memory, "MHz")}}},
      {{{"fan", withUnit(r.temperature.fanSpeed, "%")},
        {"state", stateText(r.clock.performanceState)}}},
      {{{"pages", fmt::format("{}+{}", withUnit(r.memory.singleBitPages, ""),
                              withUnit(r.memory.doubleBitPages, ""))},
        {"ECC", r.memory.eccEnabled ? (*r.memory.eccEnabled != 0 ? "on" : "off")
                                    : std::string(kNotAvailable)}}},
  }};
  for (std::size_t row = 0; row < figures.size(); ++row) {
    int x = box.x;
    for (const DetailValue& figure : figures[row]) {
      surface.put(x, box.y + static_cast<int>(row), figure.label, Style::dim);
      surface.put(x + 6, box.y + static_cast<int>(row), figure.text, figure.style);
      x += 19;
    }
  }
}

constexpr int kFiguresWidth = 34;

void drawBlock(Surface& surface, const Frame& frame, const Box& box, GpuForm form,
               std::size_t place) {
  const GpuEntry& entry = frame.model.gpus()[place];
  const GraphKind kind = frame.circumstances.graph;
  constexpr int kValueRows = 4;
  const int textWidth = form == GpuForm::wide ? std::min(box.width / 2, 84) : box.width;
  drawTitle(surface, frame, {box.x, box.y, textWidth, 1}, place);
  const int useWidth = textWidth - kFiguresWidth - 4;
  if (entry.condition == GpuCondition::up) {
    drawUse(surface, {box.x + 1, box.y + 1, useWidth, kValueRows}, entry.readings, kind);
    drawFigures(surface, {box.x + useWidth + 3, box.y + 1, kFiguresWidth, kValueRows},
                entry.readings);
  }
  Box graphs;
  if (form == GpuForm::wide) graphs = {textWidth + 1, box.y, box.width - textWidth - 1, box.height};
  if (form == GpuForm::tall)
    graphs = {box.x, box.y + 1 + kValueRows, box.width, box.height - 1 - kValueRows};
  if (graphs.isEmpty()) return;
  for (std::size_t i = 0; i < kSeries.size(); ++i) {
    drawHistory(surface, partOf(graphs, static_cast<int>(i), static_cast<int>(kSeries.size())),
                entry, kSeries[i], kind);
  }
}

}  // namespace

void drawGpuLines(Surface& surface, const Frame& frame, const Box& box) {
  const auto columns = placeLine(box.width);
  surface.put(0, box.y, "GPU", Style::dim);
  int x = kIndexWidth;
  for (const auto& [column, width] : columns) {
    if (isLeftAligned(*column)) {
      surface.putLeft(x, box.y, width, column->heading, Style::dim);
    } else {
      surface.putRight(x, box.y, width, column->heading, Style::dim);
    }
    x += width + 1;
  }
  const std::size_t end =
      std::min(frame.view.gpuTop + frame.overview.gpusShown, frame.model.gpus().size());
  int y = box.y + 1;
  for (std::size_t place = frame.view.gpuTop; place < end; ++place)
    drawLine(surface, frame, columns, y++, place);
}

void drawGpuBlocks(Surface& surface, const Frame& frame, const OverviewLayout& layout) {
  const Box& box = layout.gpus;
  for (std::size_t place = 0; place < frame.model.gpus().size(); ++place) {
    const int y = box.y + static_cast<int>(place) * layout.gpuHeight;
    drawBlock(surface, frame, {box.x, y, box.width, layout.gpuHeight}, layout.form, place);
  }
}

void drawUse(Surface& surface, const Box& box, const Readings& r, GraphKind kind) {
  constexpr int kLabel = 7;
  struct Line {
    std::string_view label;
    float share;
    std::string text;
  };
  const std::array<Line, 3> lines = {{
      {"SM", shareOf(r.utilization.sm), withUnit(r.utilization.sm, "%")},
      {"mem", shareOf(r.utilization.memory), withUnit(r.utilization.memory, "%")},
      {"held", memoryShare(r.memory), memoryText(r.memory)},
  }};
  int y = box.y;
  for (const Line& line : lines) {
    surface.put(box.x, y, line.label, Style::dim);
    drawBarLine(surface, box.x + kLabel, y++, box.width - kLabel, line.share,
                fmt::format("{:>11}", line.text), kind);
  }
  const int half = box.width / 2;
  surface.put(box.x, y, "enc", Style::dim);
  drawBarLine(surface, box.x + kLabel, y, half - kLabel, shareOf(r.utilization.encoder),
              fmt::format("{:>4}", withUnit(r.utilization.encoder, "%")), kind);
  surface.put(box.x + half + 1, y, "dec", Style::dim);
  drawBarLine(surface, box.x + half + 5, y, box.width - half - 5, shareOf(r.utilization.decoder),
              fmt::format("{:>4}", withUnit(r.utilization.decoder, "%")), kind);
}

}  // namespace zanctl::live
