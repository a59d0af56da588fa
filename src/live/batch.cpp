// Frames on paper.
#include "collector/collector.h"
#include "device/time.h"
#include "live/frame.h"
#include "live/live.h"

#include <algorithm>
#include <cstdlib>

namespace zanctl::live {
namespace {

// A number of cells in the environment; 0 without one.
int sizeInEnvironment(const char* name) {
  constexpr long kMost = 1000;
  const char* const text = std::getenv(name);
  return text == nullptr ? 0
                         : static_cast<int>(std::clamp(std::strtol(text, nullptr, 10), 0L, kMost));
}

}  // namespace

Size paperSize(const std::function<int(int width)>& wholeHeight) {
  constexpr int kUsualWidth = 80;
  Size size{sizeInEnvironment("COLUMNS"), sizeInEnvironment("LINES")};
  if (size.width == 0) size.width = kUsualWidth;
  if (size.height == 0) size.height = wholeHeight(size.width);
  return size;
}

int runBatch(const Options& options, const Settings& settings) {
  const bool unicode = localeCharset() == Charset::unicode;
  collector::Collector collector(collector::LibraryMessages::hidden);
  Model model{GpuSelection(options.gpus)};
  View view = viewFor(options, settings);
  ProcFiles host;
  Circumstances circumstances;
  circumstances.host = hostName();
  circumstances.graph = graphFor(settings, unicode);
  circumstances.onPaper = true;
  for (std::uint64_t frames = 0; frames < std::max<std::uint64_t>(options.count, 1); ++frames) {
    const timeval start = currentTime();
    host.nextRound();
    model.take(collector.takeRound(
        {.groups = groupsFor(model, view), .deadline = kRoundDeadline, .onGpu = {}}));
    circumstances.now = start.tv_sec;
    const Size size = paperSize([&model](int width) {
      return wholeHeight(width, model.gpus().size(), model.processes().size());
    });
    Grid grid(size, unicode ? Charset::unicode : Charset::ascii);
    drawFrame(grid, prepareFrame(model, view, host, grid.size(), circumstances));
    if (kVoice.print((frames > 0 ? "\n" : "") + grid.text()) != 0) return kVoice.failure;
    if (frames + 1 < options.count) {
      paceInterval(start, static_cast<std::uint64_t>(settings.interval.count()) * 1000);
    }
  }
  return 0;
}

}  // namespace zanctl::live
