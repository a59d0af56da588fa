// The table of processes and the screen of one GPU.
#include "device/text.h"
#include "live/frame.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace zanctl::live {
namespace {

bool isLeftAligned(Column column) {
  return column == Column::user || column == Column::command || column == Column::type;
}

void drawRow(Surface& surface, const Frame& frame, const std::vector<ColumnPlace>& places, int y,
             std::size_t at) {
  const View& view = frame.view;
  const ProcessRow& row = *frame.rows[view.rowTop + at];
  const bool chosen = view.row && keyOf(row) == *view.row && frame.actsOnRows();
  const bool marked = view.marked.contains(keyOf(row));
  const Style style = chosen ? Style::chosen : marked ? Style::marked : Style::plain;
  surface.putLeft(0, y, frame.size.width, chosen ? ">" : marked ? "*" : " ", style);
  for (const ColumnPlace& place : places) {
    std::string text = cellText(place.column, row, frame.facts[at]);
    if (place.column == Column::command) {
      text = endOf(text, text.size() - std::min(static_cast<std::size_t>(view.shift), text.size()));
      if (marked && chosen) text.insert(0, "* ");
    } else {
      text = shortened(text, place.width);
    }
    if (isLeftAligned(place.column)) {
      surface.putLeft(place.x, y, place.width, text, style);
    } else {
      surface.putRight(place.x, y, place.width, text, style);
    }
  }
}

}  // namespace

void drawProcesses(Surface& surface, const Frame& frame, const Box& box) {
  if (box.isEmpty()) return;
  const View& view = frame.view;
  const auto places = placeColumns(box.width, hiddenColumns(view, frame.model));
  for (const ColumnPlace& place : places) {
    const ColumnFacts& facts = factsOf(place.column);
    const bool sorted = place.column == view.settings.sort;
    const int x = isLeftAligned(place.column)
                      ? place.x
                      : place.x + place.width - static_cast<int>(facts.heading.size());
    surface.put(x, box.y, facts.heading, sorted ? Style::value : Style::dim);
    if (!sorted) continue;
    const bool descending = facts.greatestFirst != view.settings.reverse;
    const bool unicode = surface.charset() == Charset::unicode;
    const std::string_view mark = descending ? (unicode ? "▼" : "v") : (unicode ? "▲" : "^");
    surface.put(x - 1, box.y, mark, Style::value);
  }
  for (std::size_t i = 0; i < frame.facts.size(); ++i) {
    drawRow(surface, frame, places, box.y + 1 + static_cast<int>(i), i);
  }
  if (frame.rows.empty() && box.height > 1 && !frame.model.isEmpty()) {
    surface.put(1, box.y + 1, view.filter.empty() ? "no processes" : "no process holds this text",
                Style::dim);
  }
}

namespace {

// What is not as usual comes first; the rest is on the line for as much as there is room.
void drawTitle(Surface& surface, const Frame& frame, const Box& box) {
  const GpuEntry& entry = *frame.chosenGpu();
  const std::string age = frame.circumstances.age > 0
                              ? fmt::format("VALUES ARE {} s OLD", frame.circumstances.age)
                              : "";
  std::vector<Piece> pieces = {{fmt::format("GPU {}", entry.index), 0, Style::heading},
                               {conditionText(entry), 1, Style::bad},
                               {age, 1, Style::bad},
                               {frame.view.paused ? "PAUSED" : "", 1, Style::warning},
                               {nameText(entry.readings), 2, Style::heading}};
  for (const Remark& remark : remarksOn(entry.readings)) {
    pieces.push_back({remark.text, 3, remark.style});
  }
  putPieces(surface, {box.x, box.y, box.width, 1}, std::move(pieces));
  surface.put(box.x, box.y + 1, entry.uuid.empty() ? kNotAvailable : std::string_view(entry.uuid));
  const int x = surface.put(box.x, box.y + 2, "Links ", Style::dim);
  surface.put(x, box.y + 2, frame.links);
}

}  // namespace

void drawDetail(Surface& surface, const Frame& frame) {
  const GpuEntry& entry = *frame.chosenGpu();
  const DetailLayout& layout = frame.detail;
  const GraphKind kind = frame.circumstances.graph;
  drawTitle(surface, frame, layout.head);
  const auto lines = static_cast<int>(layout.valueLines);
  for (std::size_t i = 0; i < frame.values.size() && lines > 0; ++i) {
    const int line = static_cast<int>(i) % lines - static_cast<int>(frame.view.valueTop);
    if (line < 0 || line >= layout.values.height) continue;
    const Box place = partOf(layout.values, static_cast<int>(i) / lines, layout.columns);
    surface.putLeft(place.x, place.y + line, 14, frame.values[i].label, Style::dim);
    surface.putLeft(place.x + 14, place.y + line, place.width - 14, frame.values[i].text,
                    frame.values[i].style);
  }
  if (!layout.graphs.isEmpty()) {
    for (std::size_t i = 0; i < kSeries.size(); ++i) {
      drawHistory(surface,
                  partOf(layout.graphs, static_cast<int>(i), static_cast<int>(kSeries.size())),
                  entry, kSeries[i], kind);
    }
  }
  drawProcesses(surface, frame, layout.processes);
  drawFoot(surface, frame, layout.foot);
}

}  // namespace zanctl::live
