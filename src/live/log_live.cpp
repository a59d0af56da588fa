#include "device/descriptor.h"
#include "live/live.h"
#include "live/log_view.h"
#include "live/terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zanctl::live {
namespace {

constexpr int kLookPeriod = 1000;  // ms between two looks whether the file has grown

LogLayout layoutFor(Size size, const LogData& data) {
  return isEnough(size) ? layoutLog(size, data.gpus().size()) : LogLayout();
}

// Takes what the file has more by now; whether there was any, and nothing when it cannot be read.
std::optional<bool> readOn(const Descriptor& file, LogData& data) {
  std::array<char, 65536> block{};
  bool any = false;
  for (;;) {
    const ssize_t got = read(file.number(), block.data(), block.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) return any;
    any = true;
    data.add({block.data(), static_cast<std::size_t>(got)});
  }
}

enum class Pressed { none, some, quit };

Pressed takeKeys(Terminal& terminal, LogView& view, const LogData& data) {
  Pressed pressed = Pressed::none;
  while (const auto key = terminal.key()) {
    pressed = Pressed::some;
    const LogLayout layout = layoutFor(terminal.size(), data);
    settle(view, data, layout);
    const Request request = press(view, *key, data, layout);
    if (request == Request::quit) return Pressed::quit;
    if (request == Request::suspend) terminal.suspend();
    if (request == Request::redraw) terminal.redraw();
  }
  return pressed;
}

}  // namespace

int runLog(const Options& options, Settings settings, const std::string& note) {
  const Descriptor file(open(options.log.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat facts {};
  if (!file.isOpen() || fstat(file.number(), &facts) != 0) {
    return kVoice.complain(fmt::format("{}: {}", options.log, std::strerror(errno)));
  }
  if (!S_ISREG(facts.st_mode)) {
    return kVoice.complain(fmt::format("{} is no regular file", options.log));
  }
  LogData data(GpuSelection(options.gpus), {options.begin, options.end});
  if (!readOn(file, data).has_value()) {
    return kVoice.complain(fmt::format("{}: {}", options.log, std::strerror(errno)));
  }
  LogView view;
  view.settings = settings;
  view.note = note;
  LogCircumstances circumstances;
  circumstances.file = options.log;
  if (options.batch) {
    data.finish();
    circumstances.onPaper = true;
    const bool unicode = localeCharset() == Charset::unicode;
    circumstances.graph = graphFor(settings, unicode);
    constexpr int kWithGraphs = 20;
    const int height = std::max(24, static_cast<int>(data.gpus().size()) + kWithGraphs);
    Grid grid(paperSize([height](int /*width*/) { return height; }),
              unicode ? Charset::unicode : Charset::ascii);
    const LogLayout layout = layoutFor(grid.size(), data);
    settle(view, data, layout);
    drawLog(grid, data, view, layout, circumstances);
    return kVoice.print(grid.text());
  }
  return showInTerminal(options, settings, [&](Terminal& terminal) {
    const auto draw = [&] {
      const LogLayout layout = layoutFor(terminal.size(), data);
      settle(view, data, layout);
      circumstances.graph = graphFor(view.settings, terminal.charset() == Charset::unicode);
      terminal.begin(view.settings.theme);
      drawLog(terminal, data, view, layout, circumstances);
      terminal.show();
    };
    Size drawn;
    for (Pressed pressed = Pressed::some; pressed != Pressed::quit && !terminal.isOver();) {
      const bool grown = readOn(file, data).value_or(false);
      if (grown || pressed == Pressed::some || drawn != terminal.size()) draw();
      drawn = terminal.size();
      terminal.wait(-1, kLookPeriod);
      pressed = takeKeys(terminal, view, data);
    }
    settings.graph = view.settings.graph;
    settings.theme = view.settings.theme;
  });
}

}  // namespace zanctl::live
