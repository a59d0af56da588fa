#include "live/view.h"

#include "device/text.h"
#include "live/help.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace zanctl::live {
namespace {

using Milliseconds = Interval;

constexpr std::array<Milliseconds, 9> kIntervals = {
    Milliseconds{200},    Milliseconds{500},    Milliseconds{1000},
    Milliseconds{2000},   Milliseconds{5000},   Milliseconds{10'000},
    Milliseconds{20'000}, Milliseconds{30'000}, Milliseconds{60'000}};

constexpr int kShiftStep = 8;

std::size_t moved(std::size_t place, std::ptrdiff_t by, std::size_t count) {
  if (count == 0) return 0;
  const auto last = static_cast<std::ptrdiff_t>(count - 1);
  return static_cast<std::size_t>(
      std::clamp<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(place) + by, 0, last));
}

void chooseRow(View& view, const Surroundings& around, std::size_t place) {
  if (around.rows.empty()) return;
  view.rowPlace = std::min(place, around.rows.size() - 1);
  view.row = keyOf(*around.rows[view.rowPlace]);
}

void chooseGpu(View& view, const Surroundings& around, std::size_t place) {
  const std::size_t count = around.model.gpus().size();
  view.gpu = count == 0 ? 0 : std::min(place, count - 1);
}

Request moveBy(View& view, const Surroundings& around, std::ptrdiff_t by) {
  if (view.screen == Screen::help) {
    const auto places = static_cast<std::size_t>(lastHelpTop(keyHelp(), around.size)) + 1;
    view.helpTop = static_cast<int>(moved(static_cast<std::size_t>(view.helpTop), by, places));
  } else if (around.onRows) {
    chooseRow(view, around, moved(view.rowPlace, by, around.rows.size()));
  } else if (view.screen == Screen::gpu) {
    view.valueTop = moved(view.valueTop, by, around.valueLines - around.valuesShown + 1);
  } else {
    chooseGpu(view, around, moved(view.gpu, by, around.model.gpus().size()));
  }
  return Request::none;
}

std::ptrdiff_t pageOf(const View& view, const Surroundings& around) {
  if (view.screen == Screen::help) return around.size.height - 3;
  const std::size_t page = around.onRows                ? around.rowsShown
                           : view.screen == Screen::gpu ? around.valuesShown
                                                        : around.gpusShown;
  return static_cast<std::ptrdiff_t>(std::max<std::size_t>(page, 1));
}

constexpr std::ptrdiff_t kFarAway = 1'000'000;

// Sideways: to the next GPU on its own screen, else along the commands.
Request moveAside(View& view, const Surroundings& around, int by) {
  if (view.screen == Screen::gpu) {
    chooseGpu(view, around, moved(view.gpu, by, around.model.gpus().size()));
  } else if (view.focus == Focus::processes) {
    view.shift = std::clamp(view.shift + by * kShiftStep, 0, 1000);
  } else {
    return moveBy(view, around, by);
  }
  return Request::none;
}

// On to the next column that is not hidden; the commands never are.
Request sortBy(View& view, const Surroundings& around, std::size_t by) {
  const ColumnSet hidden = hiddenColumns(view, around.model);
  Column& sort = view.settings.sort;
  do {
    sort = static_cast<Column>((static_cast<std::size_t>(sort) + by) % kColumnCount);
  } while ((hidden & bitOf(sort)) != 0);
  view.note = fmt::format("sorted by {}", factsOf(view.settings.sort).name);
  return Request::none;
}

Request changeInterval(View& view, bool longer) {
  Milliseconds& interval = view.settings.interval;
  if (longer) {
    const auto next = std::upper_bound(kIntervals.begin(), kIntervals.end(), interval);
    if (next != kIntervals.end()) interval = *next;
  } else {
    const auto here = std::lower_bound(kIntervals.begin(), kIntervals.end(), interval);
    if (here != kIntervals.begin()) interval = *(here - 1);
  }
  view.note = fmt::format("every {} s", intervalText(interval));
  return Request::none;
}

Request askToSignal(View& view, const Surroundings& around) {
  if (around.rows.empty() || !around.onRows) {
    view.note = "choose a process first: Tab goes to them";
    return Request::none;
  }
  const ProcessRow& row = *around.rows[std::min(view.rowPlace, around.rows.size() - 1)];
  if (row.isVgpu()) {
    view.note = "a vGPU takes no signals; its virtual machine is stopped by its manager";
    return Request::none;
  }
  const HostFacts* facts = around.host.look(row.pid);
  if (facts == nullptr) {
    view.note = fmt::format("process {} has ended", row.pid);
    return Request::none;
  }
  view.signal = {row.pid, facts->startTicks, facts->command, SIGTERM};
  view.prompt = Prompt::signal;
  return Request::none;
}

Request mark(View& view, const Surroundings& around) {
  if (!around.onRows || !view.row) return Request::none;
  if (view.marked.erase(*view.row) == 0) view.marked.insert(*view.row);
  return moveBy(view, around, 1);
}

Request back(View& view) {
  if (view.screen == Screen::help) {
    view.screen = view.behindHelp;
  } else if (view.screen == Screen::gpu) {
    view.screen = Screen::overview;
  } else {
    view.filter.clear();
    view.onlyChosenGpu = false;
  }
  return Request::none;
}

Request hideColumn(View& view) {
  const ColumnFacts& facts = factsOf(view.settings.sort);
  if (facts.rank == 0) {
    view.note = fmt::format("the column {} stays", facts.name);
  } else {
    view.settings.hidden |= bitOf(view.settings.sort);
    view.note = fmt::format("the column {} is hidden; X shows all", facts.name);
  }
  return Request::none;
}

Request help(View& view) {
  if (view.screen == Screen::help) return back(view);
  view.behindHelp = view.screen;
  view.screen = Screen::help;
  view.helpTop = 0;
  return Request::none;
}

// What only its own screen shows of a GPU is to be read.
Request openOrClose(View& view) {
  if (view.screen != Screen::overview) return back(view);
  view.screen = Screen::gpu;
  view.valueTop = 0;
  return Request::round;
}

// On the help a key does nothing that cannot be seen there.
enum class On : std::uint8_t { all, butHelp };

struct Command {
  KeyCode code;
  char32_t character;
  Request (*act)(View& view, const Surroundings& around);
  On screens = On::butHelp;
};

#define ZANTOP_DO(expression)                                                               \
  [](View& view [[maybe_unused]], const Surroundings& around [[maybe_unused]]) -> Request { \
    expression;                                                                             \
  }

constexpr auto kUp = ZANTOP_DO(return moveBy(view, around, -1));
constexpr auto kDown = ZANTOP_DO(return moveBy(view, around, 1));
constexpr auto kLeft = ZANTOP_DO(return moveAside(view, around, -1));
constexpr auto kRight = ZANTOP_DO(return moveAside(view, around, 1));
constexpr auto kPageUp = ZANTOP_DO(return moveBy(view, around, -pageOf(view, around)));
constexpr auto kPageDown = ZANTOP_DO(return moveBy(view, around, pageOf(view, around)));
constexpr auto kFirst = ZANTOP_DO(return moveBy(view, around, -kFarAway));
constexpr auto kLast = ZANTOP_DO(return moveBy(view, around, kFarAway));
constexpr auto kOther = ZANTOP_DO(
    view.focus = view.focus == Focus::gpus ? Focus::processes : Focus::gpus; return Request::none);
constexpr auto kQuit = ZANTOP_DO(return Request::quit);

constexpr std::array kCommands = std::to_array<Command>({
    {KeyCode::up, 'k', kUp, On::all},
    {KeyCode::down, 'j', kDown, On::all},
    {KeyCode::left, 'h', kLeft},
    {KeyCode::right, 'l', kRight},
    {KeyCode::pageUp, 2, kPageUp, On::all},
    {KeyCode::pageDown, 6, kPageDown, On::all},
    {KeyCode::home, 'g', kFirst, On::all},
    {KeyCode::end, 'G', kLast, On::all},
    {KeyCode::tab, '\t', kOther},
    {KeyCode::backTab, 0, kOther},
    {KeyCode::enter, '\r', ZANTOP_DO(return openOrClose(view)), On::all},
    {KeyCode::escape, 27, ZANTOP_DO(return back(view)), On::all},
    {KeyCode::backspace, 0, ZANTOP_DO(return back(view)), On::all},
    {KeyCode::none, '<', ZANTOP_DO(return sortBy(view, around, kColumnCount - 1))},
    {KeyCode::none, '>', ZANTOP_DO(return sortBy(view, around, 1))},
    {KeyCode::none, 'r',
     ZANTOP_DO(view.settings.reverse = !view.settings.reverse; return Request::none)},
    {KeyCode::none, '/', ZANTOP_DO(view.prompt = Prompt::filter; return Request::none)},
    {KeyCode::none, 'f', ZANTOP_DO(view.onlyChosenGpu = !view.onlyChosenGpu; return Request::none)},
    {KeyCode::none, 'm', mark},
    {KeyCode::none, 'M', ZANTOP_DO(view.marked.clear(); return Request::none)},
    {KeyCode::none, ' ', ZANTOP_DO(view.paused = !view.paused; return Request::none)},
    {KeyCode::none, '+', ZANTOP_DO(return changeInterval(view, true))},
    {KeyCode::none, '-', ZANTOP_DO(return changeInterval(view, false))},
    {KeyCode::none, 'u', ZANTOP_DO(return Request::round)},
    {KeyCode::none, 'v', ZANTOP_DO(cycleGraph(view.settings); return Request::none)},
    {KeyCode::none, 'T', ZANTOP_DO(switchTheme(view.settings); return Request::none), On::all},
    {KeyCode::none, 'x', ZANTOP_DO(return hideColumn(view))},
    {KeyCode::none, 'X', ZANTOP_DO(view.settings.hidden = 0; return Request::none)},
    {KeyCode::none, 's', askToSignal},
    {KeyCode::none, '?', ZANTOP_DO(return help(view)), On::all},
    {KeyCode::none, 'q', kQuit, On::all},
    {KeyCode::none, kInterruptKey, kQuit, On::all},
    {KeyCode::none, kSuspendKey, ZANTOP_DO(return Request::suspend), On::all},
    {KeyCode::none, kRedrawKey, ZANTOP_DO(return Request::redraw), On::all},
});
#undef ZANTOP_DO

// While text is typed.
Request typeFilter(View& view, const KeyPress& key) {
  constexpr std::size_t kLongestFilter = 60;
  if (key.code == KeyCode::enter || key.character == '\r' || key.character == '\n') {
    view.prompt = Prompt::none;
  } else if (key.code == KeyCode::escape || key.character == 27 || key.character == kInterruptKey) {
    view.filter.clear();
    view.prompt = Prompt::none;
  } else if (key.code == KeyCode::backspace) {
    view.filter = beginOf(view.filter, std::max<std::size_t>(view.filter.size(), 1) - 1);
  } else if (key.code == KeyCode::character && key.character >= ' ' && key.character != 0x7F &&
             view.filter.size() < kLongestFilter) {
    // What is not ASCII comes byte by byte.
    view.filter += static_cast<char>(key.character);
  }
  return Request::none;
}

Request answerSignal(View& view, const KeyPress& key) {
  const SignalAnswer given = answer(view.signal, key);
  if (given == SignalAnswer::none) return Request::none;
  view.prompt = Prompt::none;
  if (given == SignalAnswer::send) return Request::signal;
  view.note = "nothing was sent";
  return Request::none;
}

void sortByHeading(View& view, const Surroundings& around, int x) {
  const ColumnSet hidden = hiddenColumns(view, around.model);
  for (const ColumnPlace& place : placeColumns(around.size.width, hidden)) {
    if (x < place.x || x >= place.x + place.width) continue;
    view.settings.reverse = view.settings.sort == place.column && !view.settings.reverse;
    view.settings.sort = place.column;
  }
}

Request click(View& view, const KeyPress& key, const Surroundings& around) {
  if (around.gpus.contains(key.x, key.y)) {
    const int heading = around.form == GpuForm::line ? 1 : 0;
    const int row = key.y - around.gpus.y - heading;
    if (row < 0) return Request::none;
    view.focus = Focus::gpus;
    chooseGpu(view, around, view.gpuTop + static_cast<std::size_t>(row / around.gpuHeight));
  } else if (around.processes.contains(key.x, key.y)) {
    view.focus = Focus::processes;
    const int row = key.y - around.processes.y - 1;
    const std::size_t place = view.rowTop + static_cast<std::size_t>(std::max(row, 0));
    if (row < 0) {
      sortByHeading(view, around, key.x);
    } else if (place < around.rows.size()) {
      chooseRow(view, around, place);
    }
  }
  return Request::none;
}

// Moves what is under the pointer.
Request turnWheel(View& view, const KeyPress& key, const Surroundings& around) {
  Surroundings under = around;
  if (around.processes.contains(key.x, key.y)) {
    under.onRows = true;
    view.focus = Focus::processes;
  } else if (around.gpus.contains(key.x, key.y)) {
    under.onRows = false;
    view.focus = Focus::gpus;
  }
  return moveBy(view, under, key.code == KeyCode::wheelUp ? -1 : 1);
}

}  // namespace

ColumnSet hiddenColumns(const View& view, const Model& model) {
  ColumnSet hidden = view.settings.hidden;
  if (!model.hasVgpus()) hidden |= bitOf(Column::use);
  if (view.screen == Screen::gpu) hidden |= bitOf(Column::gpu);
  return hidden;
}

TableOrder orderOf(const View& view, const Model& model) {
  TableOrder order{view.settings.sort, view.settings.reverse, view.filter, std::nullopt};
  const bool onlyOne = view.screen == Screen::gpu || view.onlyChosenGpu;
  if (onlyOne && view.gpu < model.gpus().size()) order.onlyGpu = model.gpus()[view.gpu].index;
  return order;
}

void settle(View& view, const Surroundings& around) {
  const std::size_t gpus = around.model.gpus().size();
  view.helpTop = std::min(view.helpTop, lastHelpTop(keyHelp(), around.size));
  view.valueTop = std::min(view.valueTop, around.valueLines - around.valuesShown);
  view.gpu = gpus == 0 ? 0 : std::min(view.gpu, gpus - 1);
  view.gpuTop = scrolledTo(view.gpu, view.gpuTop, around.gpusShown, gpus);
  const TableRows& rows = around.rows;
  if (rows.empty()) {
    view.rowTop = view.rowPlace = 0;
    return;
  }
  const auto chosen = std::find_if(rows.begin(), rows.end(), [&view](const ProcessRow* row) {
    return view.row && keyOf(*row) == *view.row;
  });
  // Without its process the choice stays where it was.
  const auto place =
      chosen == rows.end() ? view.rowPlace : static_cast<std::size_t>(chosen - rows.begin());
  chooseRow(view, around, place);
  view.rowTop = scrolledTo(view.rowPlace, view.rowTop, around.rowsShown, rows.size());
}

Request press(View& view, const KeyPress& key, const Surroundings& around) {
  view.note.clear();
  if (view.prompt == Prompt::filter) return typeFilter(view, key);
  if (view.prompt == Prompt::signal) return answerSignal(view, key);
  if (key.code == KeyCode::click) return click(view, key, around);
  if (key.code == KeyCode::wheelUp || key.code == KeyCode::wheelDown) {
    return turnWheel(view, key, around);
  }
  for (const Command& command : kCommands) {
    if (!isMeant(key, command.code, command.character)) continue;
    const bool acts = view.screen != Screen::help || command.screens == On::all;
    return acts ? command.act(view, around) : Request::none;
  }
  return Request::none;
}

bool isMeant(const KeyPress& key, KeyCode code, char32_t character) {
  if (key.code == KeyCode::character) return character != 0 && key.character == character;
  return key.code != KeyCode::none && key.code == code;
}

void cycleGraph(Settings& settings) {
  const auto kind = static_cast<unsigned>(settings.graph.value_or(GraphKind::braille));
  settings.graph = static_cast<GraphKind>((kind + 1) % 3);
}

void switchTheme(Settings& settings) {
  settings.theme = settings.theme == Theme::dark ? Theme::light : Theme::dark;
}

}  // namespace zanctl::live
