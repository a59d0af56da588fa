// Where the user stands: the screen, what is chosen on it, and what the keys do.
#pragma once

#include "live/keys.h"
#include "live/layout.h"
#include "live/process_table.h"
#include "live/settings.h"
#include "live/signal_prompt.h"

#include <optional>
#include <set>
#include <string>

namespace zanctl::live {

enum class Screen : std::uint8_t { overview, gpu, help };
enum class Focus : std::uint8_t { gpus, processes };
enum class Prompt : std::uint8_t { none, filter, signal };

struct View {
  Settings settings;
  Screen screen = Screen::overview;
  Screen behindHelp = Screen::overview;
  Focus focus = Focus::gpus;
  std::size_t gpu = 0;        // place of the chosen one
  std::size_t gpuTop = 0;     // place of the first one shown
  std::optional<RowKey> row;  // the chosen one
  std::size_t rowPlace = 0;   // where it was last
  std::size_t rowTop = 0;
  std::size_t valueTop = 0;  // the line of a GPU's values that comes first
  int shift = 0;             // cells of the commands that are cut off on their left
  int helpTop = 0;
  std::set<RowKey> marked;
  std::string filter;
  bool onlyChosenGpu = false;
  bool paused = false;
  Prompt prompt = Prompt::none;
  SignalRequest signal;
  std::string note;  // at the foot until the next key
};

TableOrder orderOf(const View& view, const Model& model);
// Those that the user hides, and those that this machine has no use for.
ColumnSet hiddenColumns(const View& view, const Model& model);

// What keys act on: as it was drawn last.
struct Surroundings {
  const Model& model;
  const TableRows& rows;
  HostProcesses& host;
  Size size;
  bool onRows = false;  // else they act on GPUs, or on the values of one
  std::size_t gpusShown = 0;
  std::size_t rowsShown = 0;
  std::size_t valueLines = 0;  // both 0 where they are not shown
  std::size_t valuesShown = 0;
  Box gpus{};  // both empty where they are not shown
  GpuForm form = GpuForm::line;
  int gpuHeight = 1;
  Box processes{};
};

// Moves what is chosen to where its row is in these rows, and scrolls to it.
void settle(View& view, const Surroundings& around);

// What is to be done outside the view.
enum class Request : std::uint8_t { none, quit, suspend, redraw, round, signal };
Request press(View& view, const KeyPress& key, const Surroundings& around);

// Whether a command's code or character is the one pressed; 0 is no character.
bool isMeant(const KeyPress& key, KeyCode code, char32_t character);
void cycleGraph(Settings& settings);
void switchTheme(Settings& settings);

}  // namespace zanctl::live
