#include "live/live.h"

#include "collector/collector.h"
#include "device/time.h"
#include "live/frame.h"
#include "live/terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

namespace zanctl::live {
namespace {

using collector::Groups;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds kTick{1000};

std::int64_t wallMilliseconds() {
  const timeval now = currentTime();
  return std::int64_t{now.tv_sec} * 1000 + now.tv_usec / 1000;
}

class Live {
 public:
  Live(const Options& options, const Settings& settings, Terminal& terminal)
      : options_(options),
        terminal_(terminal),
        collector_(collector::LibraryMessages::hidden),
        model_(GpuSelection(options.gpus)),
        view_(viewFor(options, settings)) {
    circumstances_.host = hostName();
  }

  [[nodiscard]] const View& view() const { return view_; }
  void say(const std::string& note) { view_.note = note; }

  void run() {
    bool changed = true;
    while (!terminal_.isOver() && !finished_) {
      proceed();
      if (changed || terminal_.size() != drawnSize_) draw();
      // Each GPU's answer wakes the collector, and nobody sees it before the round ends.
      const bool ready = terminal_.wait(collector_.descriptor(), patience());
      collector_.proceed();
      // While a round is late the age of the values grows.
      changed = takeRound() || (!ready && collector_.isRunning());
      changed = takeKeys() || changed;
    }
  }

 private:
  // Starts a round when its time has come.
  void proceed() {
    if (collector_.isRunning() || (view_.paused && !roundWanted_)) return;
    const auto now = Clock::now();
    if (now < nextRound_ && !roundWanted_) return;
    roundWanted_ = false;
    // A slow machine is not asked without a pause.
    nextRound_ = std::max(nextRound_ + view_.settings.interval, now + view_.settings.interval / 2);
    // One that comes back may have none yet.
    const bool links = view_.screen == Screen::gpu && linksAskedAt_ != model_.turns();
    if (links) linksAskedAt_ = model_.turns();
    const Groups groups = groupsFor(model_, view_) | (links ? collector::kLinks : 0);
    started_ = true;
    collector_.startRound({.groups = groups, .deadline = kRoundDeadline, .onGpu = {}});
    takeRound();
  }

  bool takeRound() {
    if (collector_.isRunning() || !started_) return false;
    started_ = false;
    host_.nextRound();
    model_.take(collector_.snapshot());
    ++rounds_;
    if (options_.count > 0 && rounds_ >= options_.count) finished_ = true;
    return true;
  }

  // Until the next round; while one is late, until its age reads otherwise.
  [[nodiscard]] int patience() const {
    if (finished_) return 0;
    if (collector_.isRunning()) return static_cast<int>(kTick.count());
    if (view_.paused) return -1;
    const auto rest = std::chrono::ceil<milliseconds>(nextRound_ - Clock::now()).count();
    return static_cast<int>(std::max<std::int64_t>(rest, 0));
  }

  [[nodiscard]] long age() const {
    if (model_.isEmpty() || view_.paused) return 0;
    const std::int64_t age = wallMilliseconds() - model_.takenAt();
    const std::int64_t usual = std::max<std::int64_t>(view_.settings.interval.count(), 1000) + 1000;
    return age > usual ? static_cast<long>(age / 1000) : 0;
  }

  Frame prepare() {
    circumstances_.now =
        static_cast<std::time_t>((view_.paused ? model_.takenAt() : wallMilliseconds()) / 1000);
    circumstances_.age = age();
    circumstances_.graph = graphFor(view_.settings, terminal_.charset() == Charset::unicode);
    return prepareFrame(model_, view_, host_, terminal_.size(), circumstances_);
  }

  void draw() {
    const Frame frame = prepare();
    drawnSize_ = frame.size;
    terminal_.begin(view_.settings.theme);
    drawFrame(terminal_, frame);
    terminal_.show();
  }

  bool takeKeys() {
    bool any = false;
    while (const auto key = terminal_.key()) {
      any = true;
      const Frame frame = prepare();
      serve(press(view_, *key, surroundingsOf(frame, host_)));
    }
    return any;
  }

  void serve(Request request) {
    switch (request) {
      case Request::none:
        break;
      case Request::quit:
        finished_ = true;
        break;
      case Request::suspend:
        terminal_.suspend();
        break;
      case Request::redraw:
        terminal_.redraw();
        break;
      case Request::round:
        roundWanted_ = true;
        break;
      case Request::signal:
        sendSignal();
        break;
    }
  }

  void sendSignal() {
    const SignalRequest& request = view_.signal;
    const std::string problem = signalProcess(request.pid, request.startTicks, request.signal);
    view_.note = problem.empty()
                     ? fmt::format("sent {} to {}", signalName(request.signal), request.pid)
                     : problem;
  }

  const Options& options_;
  Terminal& terminal_;
  collector::Collector collector_;
  Model model_;
  View view_;
  ProcFiles host_;
  Circumstances circumstances_;
  Size drawnSize_;
  Clock::time_point nextRound_{Clock::now()};
  std::uint64_t rounds_ = 0;
  bool started_ = false;                       // a round whose snapshot is still to be taken
  std::optional<std::uint64_t> linksAskedAt_;  // the turn of the model
  bool roundWanted_ = false;
  bool finished_ = false;
};

}  // namespace

Groups groupsFor(const Model& model, const View& view) {
  Groups groups = collector::defaultGroups() & ~collector::kEngines;
  // Names tell which processes serve vGPUs; else the host is asked for those on the screen.
  const bool names = model.hasVgpus() || model.isEmpty();
  groups |= names ? collector::kProcessNames : collector::kProcessList;
  if (view.screen == Screen::gpu) groups |= collector::kEngines;
  return groups;
}

View viewFor(const Options& options, const Settings& settings) {
  View view;
  view.settings = settings;
  view.filter = options.filter;
  return view;
}

std::string hostName() {
  std::array<char, 256> name{};
  if (gethostname(name.data(), name.size() - 1) != 0) return "N/A";
  return name.data();
}

GraphKind graphFor(const Settings& settings, bool unicode) {
  if (!unicode) return GraphKind::ascii;
  const char* const terminal = std::getenv("TERM");
  // The console's fonts have blocks and no braille.
  const bool console = terminal != nullptr && std::strcmp(terminal, "linux") == 0;
  return settings.graph.value_or(console ? GraphKind::block : GraphKind::braille);
}

int showInTerminal(const Options& options, const Settings& settings,
                   const std::function<void(Terminal&)>& show) {
  const char* const noColour = std::getenv("NO_COLOR");
  const bool colours = options.colours && (noColour == nullptr || noColour[0] == '\0');
  std::string problem;
  int signal = 0;
  {
    const auto terminal = Terminal::open({colours, options.mouse}, problem);
    if (!terminal) return kVoice.complain(problem);
    show(*terminal);
    signal = terminal->endSignal();
  }
  // What has not changed is not written: a file that was ignored stays to be mended.
  Settings kept;
  loadSettings(settingsFile(), kept);
  const std::string unsaved =
      kept == settings ? std::string() : saveSettings(settingsFile(), settings);
  if (!unsaved.empty()) kVoice.say(unsaved);
  // Whoever sent it sees that it was obeyed.
  if (signal != 0) {
    std::signal(signal, SIG_DFL);
    std::raise(signal);
  }
  return 0;
}

int runLive(const Options& options, const Settings& settings, const std::string& note) {
  Settings kept = settings;
  return showInTerminal(options, kept, [&](Terminal& terminal) {
    Live live(options, settings, terminal);
    live.say(note);
    live.run();
    kept = live.view().settings;
  });
}

}  // namespace zanctl::live
