#include "live/view.h"

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

struct NamedSignal {
  int number;
  std::string_view name;
};
constexpr std::array<NamedSignal, 4> kSignals = {
    {{SIGTERM, "TERM"}, {SIGINT, "INT"}, {SIGHUP, "HUP"}, {SIGKILL, "KILL"}}};

constexpr int kShiftStep = 8;

std::size_t moved(std::size_t place, std::ptrdiff_t by, std::size_t count) {
  if (count == 0) return 0;
  const auto last = static_cast<std::ptrdiff_t>(count - 1);
  return static_cast<std::size_t>(
      std::clamp<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(place) + by, 0, last));
}

bool isOnRows(const View& view) {
  return view.screen == Screen::gpu || view.focus == Focus::processes;
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
    view.helpTop =
        std::clamp(view.helpTop + static_cast<int>(std::clamp<std::ptrdiff_t>(by, -1000, 1000)), 0,
                   static_cast<int>(keyHelp().size()) - 1);
  } else if (isOnRows(view)) {
    chooseRow(view, around, moved(view.rowPlace, by, around.rows.size()));
  } else {
    chooseGpu(view, around, moved(view.gpu, by, around.model.gpus().size()));
  }
  return Request::none;
}

std::ptrdiff_t pageOf(const View& view, const Surroundings& around) {
  if (view.screen == Screen::help) return around.size.height - 3;
  const std::size_t page = isOnRows(view) ? around.rowsShown : around.gpusShown;
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

Request sortBy(View& view, std::ptrdiff_t by) {
  const auto count = static_cast<std::ptrdiff_t>(kColumnCount);
  const auto place = (static_cast<std::ptrdiff_t>(view.settings.sort) + by + count) % count;
  view.settings.sort = static_cast<Column>(place);
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
  if (around.rows.empty() || !isOnRows(view)) {
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
  if (!isOnRows(view) || !view.row) return Request::none;
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
  return Request::round;
}

struct Command {
  KeyCode code;
  char32_t character;
  Request (*act)(View& view, const Surroundings& around);
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
    {KeyCode::up, 'k', kUp},
    {KeyCode::down, 'j', kDown},
    {KeyCode::left, 'h', kLeft},
    {KeyCode::right, 'l', kRight},
    {KeyCode::pageUp, 2, kPageUp},
    {KeyCode::pageDown, 6, kPageDown},
    {KeyCode::home, 'g', kFirst},
    {KeyCode::end, 'G', kLast},
    {KeyCode::tab, '\t', kOther},
    {KeyCode::backTab, 0, kOther},
    {KeyCode::enter, '\r', ZANTOP_DO(return openOrClose(view))},
    {KeyCode::escape, 27, ZANTOP_DO(return back(view))},
    {KeyCode::backspace, 0, ZANTOP_DO(return back(view))},
    {KeyCode::wheelUp, 0, kUp},
    {KeyCode::wheelDown, 0, kDown},
    {KeyCode::none, '<', ZANTOP_DO(return sortBy(view, -1))},
    {KeyCode::none, '>', ZANTOP_DO(return sortBy(view, 1))},
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
    {KeyCode::none, 'T', ZANTOP_DO(switchTheme(view.settings); return Request::none)},
    {KeyCode::none, 'x', ZANTOP_DO(return hideColumn(view))},
    {KeyCode::none, 'X', ZANTOP_DO(view.settings.hidden = 0; return Request::none)},
    {KeyCode::none, 's', askToSignal},
    {KeyCode::none, '?', ZANTOP_DO(return help(view))},
    {KeyCode::none, 'q', kQuit},
    {KeyCode::none, kInterruptKey, kQuit},
    {KeyCode::none, kSuspendKey, ZANTOP_DO(return Request::suspend)},
    {KeyCode::none, kRedrawKey, ZANTOP_DO(return Request::redraw)},
});
#undef ZANTOP_DO

constexpr std::array kHelp = std::to_array<KeyHelp>({
    {"Up Down k j", "choose a GPU or a process"},
    {"PgUp PgDn", "a screenful on"},
    {"Home End g G", "the first, the last"},
    {"Left Right h l", "along the commands; on a GPU's screen the GPU before and after"},
    {"Tab", "between the GPUs and the processes"},
    {"Enter", "the chosen GPU over the whole screen, and back"},
    {"Esc", "back; on the first screen, without a filter"},
    {"< >", "sort by the column before, behind"},
    {"r", "sort the other way round"},
    {"/", "show the processes that hold a text"},
    {"f", "show the processes of the chosen GPU alone"},
    {"m M", "mark the process; take all marks away"},
    {"s", "send the process a signal, after asking"},
    {"Space", "pause, and go on"},
    {"+ -", "a longer, a shorter interval"},
    {"u", "new values at once"},
    {"v", "graphs of braille dots, of blocks, of plain characters"},
    {"T", "colours for a dark or a light background"},
    {"x X", "hide the column sorted by; show all columns"},
    {"Ctrl-L", "draw the screen anew"},
    {"Ctrl-Z", "back to the shell; fg comes back"},
    {"?", "this help"},
    {"q", "quit"},
    {"", ""},
    {"H", "mark of a GPU: hot, near or above the slowdown threshold"},
    {"T", "throttled"},
    {"R", "retired memory pages"},
    {"E", "ECC changes with the next reset"},
    {"L", "PCIe link narrower than it can be"},
});

// While text is typed.
Request typeFilter(View& view, const KeyPress& key) {
  constexpr std::size_t kLongestFilter = 60;
  if (key.code == KeyCode::enter || key.character == '\r' || key.character == '\n') {
    view.prompt = Prompt::none;
  } else if (key.code == KeyCode::escape || key.character == 27 || key.character == kInterruptKey) {
    view.filter.clear();
    view.prompt = Prompt::none;
  } else if (key.code == KeyCode::backspace) {
    if (!view.filter.empty()) view.filter.pop_back();
  } else if (key.code == KeyCode::character && key.character >= ' ' && key.character < 0x7F &&
             view.filter.size() < kLongestFilter) {
    view.filter += static_cast<char>(key.character);
  }
  return Request::none;
}

Request answerSignal(View& view, const KeyPress& key) {
  if (key.code == KeyCode::tab || key.character == '\t') {
    auto chosen = std::find_if(
        kSignals.begin(), kSignals.end(),
        [&view](const NamedSignal& signal) { return signal.number == view.signal.signal; });
    view.signal.signal = (++chosen == kSignals.end() ? kSignals.begin() : chosen)->number;
    return Request::none;
  }
  view.prompt = Prompt::none;
  if (key.character == 'y' || key.character == 'Y') return Request::signal;
  view.note = "nothing was sent";
  return Request::none;
}

Request click(View& view, const KeyPress& key, const Surroundings& around) {
  if (around.gpus.contains(key.x, key.y)) {
    view.focus = Focus::gpus;
    const int heading = around.form == GpuForm::line ? 1 : 0;
    const int row = (key.y - around.gpus.y - heading) / heightOf(around.form);
    if (key.y - around.gpus.y >= heading) {
      chooseGpu(view, around, view.gpuTop + static_cast<std::size_t>(row));
    }
  } else if (around.processes.contains(key.x, key.y)) {
    view.focus = Focus::processes;
    const int row = key.y - around.processes.y - 1;
    if (row >= 0) {
      chooseRow(view, around, view.rowTop + static_cast<std::size_t>(row));
      return Request::none;
    }
    for (const ColumnPlace& place : placeColumns(around.size.width, view.settings.hidden)) {
      if (key.x < place.x || key.x >= place.x + place.width) continue;
      view.settings.reverse = view.settings.sort == place.column && !view.settings.reverse;
      view.settings.sort = place.column;
    }
  }
  return Request::none;
}

}  // namespace

TableOrder orderOf(const View& view, const Model& model) {
  TableOrder order{view.settings.sort, view.settings.reverse, view.filter, std::nullopt};
  const bool onlyOne = view.screen == Screen::gpu || view.onlyChosenGpu;
  if (onlyOne && view.gpu < model.gpus().size()) order.onlyGpu = model.gpus()[view.gpu].index;
  return order;
}

void settle(View& view, const Surroundings& around) {
  const std::size_t gpus = around.model.gpus().size();
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
  for (const Command& command : kCommands) {
    if (isMeant(key, command.code, command.character)) return command.act(view, around);
  }
  return Request::none;
}

std::span<const KeyHelp> keyHelp() { return kHelp; }

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

std::string_view signalName(int signal) {
  const auto named =
      std::find_if(kSignals.begin(), kSignals.end(),
                   [signal](const NamedSignal& known) { return known.number == signal; });
  return named == kSignals.end() ? "" : named->name;
}

}  // namespace zanctl::live
