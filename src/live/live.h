// The program's ways to show this machine, and a recorded day.
#pragma once

#include "live/options.h"
#include "live/settings.h"
#include "live/terminal.h"

#include <functional>

namespace zanctl::live {

// All return the exit status. The note is shown at the foot.
int runLive(const Options& options, const Settings& settings, const std::string& note);
int runBatch(const Options& options, const Settings& settings);
int runLog(const Options& options, Settings settings, const std::string& note);

// Takes the terminal, lets `show` use it, gives it back and keeps the settings, which `show` may
// change.
int showInTerminal(const Options& options, const Settings& settings,
                   const std::function<void(Terminal&)>& show);

// The size that the environment asks for; without a height, at least so many lines.
Size paperSize(std::size_t lines);

// What a terminal of this kind shows best, unless the settings ask for something else.
GraphKind graphFor(const Settings& settings, bool unicode);
std::string hostName();

}  // namespace zanctl::live
