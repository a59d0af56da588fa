// The table of processes and the screen of one GPU.
#include "device/text.h"
#include "live/frame.h"

#include <fmt/format.h>

#include <algorithm>

namespace zanctl::live {
namespace {

bool isLeftAligned(Column column) {
  return column == Column::user || column == Column::command || column == Column::type;
}

void drawRow(Surface& surface, const Frame& frame, const std::vector<ColumnPlace>& places, int y,
             std::size_t at) {
  const View& view = frame.view;
  const ProcessRow& row = *frame.rows[view.rowTop + at];
  const bool chosen = view.row && keyOf(row) == *view.row &&
                      (view.focus == Focus::processes || view.screen == Screen::gpu);
  const bool marked = view.marked.contains(keyOf(row));
  const Style style = chosen ? Style::chosen : marked ? Style::marked : Style::plain;
  surface.putLeft(0, y, frame.size.width, chosen ? ">" : marked ? "*" : " ", style);
  for (const ColumnPlace& place : places) {
    std::string text = cellText(place.column, row, frame.facts[at]);
    if (place.column == Column::command) {
      text = endOf(text, text.size() - std::min(static_cast<std::size_t>(view.shift), text.size()));
      if (marked && chosen) text = "* " + text;
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
  ColumnSet hidden = view.settings.hidden;
  if (!frame.model.hasVgpus()) hidden |= bitOf(Column::use);
  const auto places = placeColumns(box.width, hidden);
  for (const ColumnPlace& place : places) {
    std::string heading(factsOf(place.column).heading);
    const bool sorted = place.column == view.settings.sort;
    const Style style = sorted ? Style::value : Style::dim;
    if (sorted && place.column == Column::command) heading += " *";
    if (isLeftAligned(place.column)) {
      surface.putLeft(place.x, box.y, place.width, heading, style);
    } else {
      surface.putRight(place.x, box.y, place.width, heading, style);
    }
  }
  for (std::size_t i = 0; i < frame.facts.size(); ++i) {
    drawRow(surface, frame, places, box.y + 1 + static_cast<int>(i), i);
  }
  if (frame.rows.empty() && box.height > 1 && !frame.model.isEmpty()) {
    surface.put(1, box.y + 1, view.filter.empty() ? "no processes" : "no process holds this text",
                Style::dim);
  }
}

void drawDetail(Surface& surface, const Frame& frame) {
  const GpuEntry& entry = *frame.chosenGpu();
  const DetailLayout& layout = frame.detail;
  const GraphKind kind = frame.circumstances.graph;
  drawRule(surface, layout.head, fmt::format(" GPU {} {} ", entry.index, nameText(entry.readings)),
           Style::heading);
  std::string state = conditionText(entry);
  if (state.empty() && frame.circumstances.age > 0)
    state = fmt::format("VALUES ARE {} s OLD", frame.circumstances.age);
  if (state.empty() && frame.view.paused) state = "PAUSED";
  if (!state.empty()) {
    const int width = cellsOf(state) + 2;
    surface.putLeft(std::max(frame.size.width - width, 0), 0, width, " " + state, Style::bad);
  }
  const int rows = layout.values.height;
  for (std::size_t i = 0; i < frame.values.size(); ++i) {
    const int column = static_cast<int>(i) / std::max(rows, 1);
    if (column >= layout.columns) break;
    const Box place = partOf(layout.values, column, layout.columns);
    const int y = place.y + static_cast<int>(i) % rows;
    surface.putLeft(place.x + 1, y, 14, frame.values[i].label, Style::dim);
    surface.putLeft(place.x + 15, y, place.width - 15, frame.values[i].text, frame.values[i].style);
  }
  if (!layout.graphs.isEmpty()) {
    for (std::size_t i = 0; i < kSeries.size(); ++i) {
      drawHistory(surface,
                  partOf(layout.graphs, static_cast<int>(i), static_cast<int>(kSeries.size())),
                  entry, kSeries[i], kind);
    }
  }
  if (!layout.links.isEmpty()) {
    const int x = surface.put(1, layout.links.y, "Linked by", Style::dim);
    surface.put(x + 1, layout.links.y, frame.links);
  }
  drawProcesses(surface, frame, layout.processes);
  drawFoot(surface, frame, layout.foot);
}

}  // namespace zanctl::live
