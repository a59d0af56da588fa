#include "live/log_view.h"

#include "live/help.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace zanctl::live {
namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 3600;

void goTo(LogView& view, const LogData& data, std::size_t moment) {
  const std::size_t count = data.moments().size();
  view.moment = count == 0 ? 0 : std::min(moment, count - 1);
  view.follows = count > 0 && view.moment == count - 1;
}

Request step(LogView& view, const LogData& data, std::ptrdiff_t by) {
  const auto place = std::max<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(view.moment) + by, 0);
  goTo(view, data, static_cast<std::size_t>(place));
  return Request::none;
}

// At least one sample on.
Request stepTime(LogView& view, const LogData& data, std::int64_t seconds) {
  if (data.moments().empty()) return Request::none;
  const std::int64_t time = std::int64_t{data.moments()[view.moment]} + seconds;
  const std::size_t there =
      data.momentAt(static_cast<TimeOfDay>(std::clamp<std::int64_t>(time, 0, 86'399)));
  const std::size_t before = view.moment == 0 ? 0 : view.moment - 1;
  goTo(view, data, seconds > 0 ? std::max(there, view.moment + 1) : std::min(there, before));
  return Request::none;
}

Request nextOutlier(LogView& view, const LogData& data) {
  const auto outlier = data.nextOutlier(view.moment);
  if (!outlier) {
    view.note = "no value leaves its usual band from here on";
    return Request::none;
  }
  goTo(view, data, outlier->moment);
  view.gpu = outlier->gpu;
  view.note = fmt::format("GPU {}: {} {:.0f} is unusual", data.gpus()[outlier->gpu],
                          logSeriesName(outlier->series),
                          data.value(outlier->gpu, outlier->series, outlier->moment));
  return Request::none;
}

Request nextGpu(LogView& view, const LogData& data, std::size_t by) {
  const std::size_t count = data.gpus().size();
  if (count > 0) view.gpu = (view.gpu + by) % count;
  return Request::none;
}

struct Command {
  KeyCode code;
  char32_t character;
  Request (*act)(LogView& view, const LogData& data);
  bool onHelp = false;
};

#define ZANTOP_DO(expression)                                                           \
  [](LogView& view [[maybe_unused]], const LogData& data [[maybe_unused]]) -> Request { \
    expression;                                                                         \
  }

constexpr std::array kCommands = std::to_array<Command>({
    {KeyCode::left, 'h', ZANTOP_DO(return step(view, data, -1))},
    {KeyCode::right, 'l', ZANTOP_DO(return step(view, data, 1))},
    {KeyCode::up, 'k', ZANTOP_DO(return stepTime(view, data, -kMinute))},
    {KeyCode::down, 'j', ZANTOP_DO(return stepTime(view, data, kMinute))},
    {KeyCode::wheelUp, 0, ZANTOP_DO(return stepTime(view, data, -kMinute))},
    {KeyCode::wheelDown, 0, ZANTOP_DO(return stepTime(view, data, kMinute))},
    {KeyCode::pageUp, 2, ZANTOP_DO(return stepTime(view, data, -kHour))},
    {KeyCode::pageDown, 6, ZANTOP_DO(return stepTime(view, data, kHour))},
    {KeyCode::home, 'g', ZANTOP_DO(goTo(view, data, 0); return Request::none)},
    {KeyCode::end, 'G', ZANTOP_DO(goTo(view, data, data.moments().size()); return Request::none)},
    {KeyCode::none, 'n', ZANTOP_DO(return nextOutlier(view, data))},
    {KeyCode::none, 't', ZANTOP_DO(view.asksTime = true; view.input.clear(); return Request::none)},
    {KeyCode::tab, '\t', ZANTOP_DO(return nextGpu(view, data, 1))},
    {KeyCode::backTab, 0,
     ZANTOP_DO(return nextGpu(view, data, std::max<std::size_t>(data.gpus().size(), 1) - 1))},
    {KeyCode::none, 'v', ZANTOP_DO(cycleGraph(view.settings); return Request::none)},
    {KeyCode::none, 'T', ZANTOP_DO(switchTheme(view.settings); return Request::none), true},
    {KeyCode::none, '?', ZANTOP_DO(view.help = !view.help; view.helpTop = 0; return Request::none),
     true},
    {KeyCode::escape, 27, ZANTOP_DO(view.help = false; return Request::none), true},
    {KeyCode::none, 'q', ZANTOP_DO(return Request::quit), true},
    {KeyCode::none, kInterruptKey, ZANTOP_DO(return Request::quit), true},
    {KeyCode::none, kSuspendKey, ZANTOP_DO(return Request::suspend), true},
    {KeyCode::none, kRedrawKey, ZANTOP_DO(return Request::redraw), true},
});
#undef ZANTOP_DO

// "10:30" is the full minute.
std::optional<TimeOfDay> timeOf(const std::string& text) {
  const auto colons = std::count(text.begin(), text.end(), ':');
  return parseTimeOfDay(colons == 0 ? text + ":00:00" : colons == 1 ? text + ":00" : text);
}

Request typeTime(LogView& view, const KeyPress& key, const LogData& data) {
  constexpr std::size_t kLongest = 8;
  if (key.code == KeyCode::enter) {
    view.asksTime = false;
    const auto time = timeOf(view.input);
    if (time) {
      goTo(view, data, data.momentAt(*time));
    } else {
      view.note = fmt::format("\"{}\" is no time: HH:MM:SS", view.input);
    }
  } else if (key.code == KeyCode::backspace) {
    if (!view.input.empty()) view.input.pop_back();
  } else if (key.code == KeyCode::character &&
             ((key.character >= '0' && key.character <= '9') || key.character == ':')) {
    if (view.input.size() < kLongest) view.input += static_cast<char>(key.character);
  } else if (key.code == KeyCode::escape || key.character == kInterruptKey) {
    view.asksTime = false;
  }
  return Request::none;
}

// On the help keys scroll, or do what can be seen there.
Request pressOnHelp(LogView& view, const KeyPress& key, const LogData& data,
                    const LogLayout& layout) {
  const Size size = {layout.foot.width, layout.foot.bottom()};
  const int last = lastHelpTop(logKeyHelp(), size);
  struct Step {
    KeyCode code;
    char32_t character;
    int lines;
  };
  const std::array<Step, 8> steps = {{{KeyCode::up, 'k', -1},
                                      {KeyCode::down, 'j', 1},
                                      {KeyCode::wheelUp, 0, -1},
                                      {KeyCode::wheelDown, 0, 1},
                                      {KeyCode::pageUp, 2, 3 - size.height},
                                      {KeyCode::pageDown, 6, size.height - 3},
                                      {KeyCode::home, 'g', -last},
                                      {KeyCode::end, 'G', last}}};
  for (const Step& step : steps) {
    if (!isMeant(key, step.code, step.character)) continue;
    view.helpTop = std::clamp(view.helpTop + step.lines, 0, last);
    return Request::none;
  }
  for (const Command& command : kCommands) {
    if (command.onHelp && isMeant(key, command.code, command.character)) {
      return command.act(view, data);
    }
  }
  return Request::none;
}

void click(LogView& view, const KeyPress& key, const LogData& data, const LogLayout& layout) {
  if (layout.gpus.contains(key.x, key.y)) {
    const int row = key.y - layout.gpus.y - 1;
    const std::size_t place = view.gpuTop + static_cast<std::size_t>(std::max(row, 0));
    if (row >= 0 && place < data.gpus().size()) view.gpu = place;
  } else if (layout.graphs.contains(key.x, key.y) && !data.moments().empty()) {
    const auto width = static_cast<std::size_t>(layout.graphs.width);
    std::size_t moment = 0;
    while (moment + 1 < data.moments().size() &&
           data.stretchOf(moment, width) < static_cast<std::size_t>(key.x)) {
      ++moment;
    }
    goTo(view, data, moment);
  }
}

}  // namespace

void settle(LogView& view, const LogData& data, const LogLayout& layout) {
  const std::size_t count = data.moments().size();
  if (view.follows) view.moment = count == 0 ? 0 : count - 1;
  view.moment = count == 0 ? 0 : std::min(view.moment, count - 1);
  view.gpu = data.gpus().empty() ? 0 : std::min(view.gpu, data.gpus().size() - 1);
  view.gpuTop = scrolledTo(view.gpu, view.gpuTop, layout.gpusShown, data.gpus().size());
}

Request press(LogView& view, const KeyPress& key, const LogData& data, const LogLayout& layout) {
  view.note.clear();
  if (view.asksTime) return typeTime(view, key, data);
  if (view.help) return pressOnHelp(view, key, data, layout);
  if (key.code == KeyCode::click) {
    click(view, key, data, layout);
    return Request::none;
  }
  for (const Command& command : kCommands) {
    if (isMeant(key, command.code, command.character)) return command.act(view, data);
  }
  return Request::none;
}

std::string timeText(TimeOfDay time) {
  return fmt::format("{:02}:{:02}:{:02}", time / 3600, time / 60 % 60, time % 60);
}

std::string_view logSeriesName(LogSeries series) {
  constexpr std::array<std::string_view, kLogSeries> kNames = {
      "SM", "memory use", "temp", "power", "encoder", "decoder", "SM clock", "memory clock"};
  return kNames[static_cast<std::size_t>(series)];
}

}  // namespace zanctl::live
