// One picture of the machine: what is shown of it, and where. It is prepared whole before anything
// is drawn.
#pragma once

#include "live/help.h"
#include "live/surface.h"
#include "live/texts.h"
#include "live/view.h"

#include <ctime>
#include <string>
#include <vector>

namespace zanctl::live {

struct Circumstances {
  std::string host;
  std::time_t now = 0;
  // Of the values, in s, when that is more than it should be; else 0.
  long age = 0;
  GraphKind graph = GraphKind::ascii;
  bool onPaper = false;  // nobody presses keys
};

struct DetailValue {
  std::string_view label;
  std::string text;
  Style style = Style::plain;
};
std::vector<DetailValue> detailValues(const GpuEntry& entry);

struct Frame {
  const Model& model;
  const View& view;
  const Circumstances& circumstances;
  Size size;
  TableRows rows;
  std::vector<const HostFacts*> facts;  // of the rows shown
  // Of the screens, the one that is shown.
  OverviewLayout overview;
  DetailLayout detail;
  std::vector<DetailValue> values;
  std::string links;

  [[nodiscard]] const GpuEntry* chosenGpu() const;
  // Whether keys act on processes: on a GPU's screen always when there are no values to scroll.
  [[nodiscard]] bool actsOnRows() const;
};

// Settles the view on the rows there are, and asks the host about those that are shown.
Frame prepareFrame(const Model& model, View& view, HostProcesses& host, Size size,
                   const Circumstances& circumstances);
// What keys act on while this frame is seen.
Surroundings surroundingsOf(const Frame& frame, HostProcesses& host);

void drawFrame(Surface& surface, const Frame& frame);

// In tables of GPUs.
inline constexpr int kIndexWidth = 4;  // with the mark of the chosen one
inline constexpr int kLeastBar = 8;    // cells that a bar needs beside its text

// Its parts.
void drawTooSmall(Surface& surface);
void drawHead(Surface& surface, const Frame& frame, const Box& box);
void drawGpuLines(Surface& surface, const Frame& frame, const Box& box);
void drawGpuBlocks(Surface& surface, const Frame& frame, const OverviewLayout& layout);
// Four bars of a GPU's use in the rows of a box.
void drawUse(Surface& surface, const Box& box, const collector::Readings& readings, GraphKind kind);
void drawProcesses(Surface& surface, const Frame& frame, const Box& box);
void drawDetail(Surface& surface, const Frame& frame);
void drawFoot(Surface& surface, const Frame& frame, const Box& box);

struct Piece {
  std::string text;  // not shown when empty
  int rank;          // those of higher ranks make way first
  Style style = Style::plain;
};
// Side by side, as many as there is room for; returns the cell behind the last.
int putPieces(Surface& surface, const Box& box, std::vector<Piece> pieces);

// A bar and the text behind it, which has its place at the right end.
void drawBarLine(Surface& surface, int x, int y, int width, float share, std::string_view text,
                 GraphKind kind);
// A graph with its label above, over the whole box.
void drawHistory(Surface& surface, const Box& box, const GpuEntry& entry, Series series,
                 GraphKind kind);
// A line across the surface with a text on it.
void drawRule(Surface& surface, const Box& box, std::string_view text, Style style);

}  // namespace zanctl::live
