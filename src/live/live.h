// The program's ways to show this machine, and a recorded day.
#pragma once

#include "collector/groups.h"
#include "live/options.h"
#include "live/settings.h"
#include "live/terminal.h"
#include "live/view.h"
#include "output/voice.h"

#include <chrono>
#include <functional>
#include <string>

namespace zanctl::live {

inline constexpr Voice kVoice{.program = "zantop", .failure = 1};

// All return the exit status. The note is shown at the foot.
int runLive(const Options& options, const Settings& settings, const std::string& note);
int runBatch(const Options& options, const Settings& settings);
int runLog(const Options& options, Settings settings, const std::string& note);

// Takes the terminal, lets `show` use it, gives it back and keeps the settings, which `show` may
// change.
int showInTerminal(const Options& options, const Settings& settings,
                   const std::function<void(Terminal&)>& show);

// The size that the environment asks for; without a height, the one at which all finds room.
Size paperSize(const std::function<int(int width)>& wholeHeight);

// A GPU that hangs is given up after a third of it.
inline constexpr std::chrono::milliseconds kRoundDeadline{6000};
// What the view shows, but for links.
collector::Groups groupsFor(const Model& model, const View& view);
View viewFor(const Options& options, const Settings& settings);

// What a terminal of this kind shows best, unless the settings ask for something else.
GraphKind graphFor(const Settings& settings, bool unicode);
std::string hostName();

}  // namespace zanctl::live
