#include "live/live.h"
#include "output/program_start.h"

#include <fmt/format.h>

#include <cstdio>
#include <new>

namespace zanctl::live {
namespace {

constexpr char kNoMemory[] = "zantop: there is not enough memory\n";

[[gnu::constructor(101)]] void prepareForWantOfMemory() { endOnWantOfMemory(kNoMemory, 1); }

Settings settingsFor(const Options& options, Settings settings) {
  if (options.sort) settings.sort = *options.sort;
  if (options.interval) settings.interval = *options.interval;
  if (options.graph) settings.graph = options.graph;
  if (options.theme) settings.theme = *options.theme;
  return settings;
}

int run(std::span<char* const> argv) {
  const auto parsed = parseOptions(argv);
  if (const auto* problem = std::get_if<std::string>(&parsed)) return kVoice.complain(*problem);
  const Options& options = std::get<Options>(parsed);
  if (options.help) return kVoice.print(helpText());
  if (options.version) return kVoice.print(fmt::format("zantop {}\n", ZANCTL_VERSION));
  Settings settings;
  std::string note;
  // A frame on paper is the same for everyone.
  if (!options.batch) note = loadSettings(settingsFile(), settings);
  settings = settingsFor(options, settings);
  if (!options.log.empty()) return runLog(options, settings, note);
  return options.batch ? runBatch(options, settings) : runLive(options, settings, note);
}

}  // namespace
}  // namespace zanctl::live

int main(int argc, char** argv) {
  zanctl::startProgram();
  try {
    return zanctl::live::run({argv, static_cast<std::size_t>(argc)});
  } catch (const std::bad_alloc&) {
    // The terminal is as it was by now.
    std::fputs(zanctl::live::kNoMemory, stderr);
    return 1;
  }
}
