#include "live/live.h"

#include <fmt/format.h>

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace zanctl::live {
namespace {

int print(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  return std::fflush(stdout) == 0 ? 0 : complain("standard output could not be written");
}

// A closed standard stream would lend its number to the next file that is opened.
void occupyStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDWR);
  }
}

Settings settingsFor(const Options& options, Settings settings) {
  if (options.sort) settings.sort = *options.sort;
  if (options.interval) settings.interval = *options.interval;
  if (options.graph) settings.graph = options.graph;
  if (options.theme) settings.theme = *options.theme;
  return settings;
}

int run(std::span<char* const> argv) {
  const auto parsed = parseOptions(argv);
  if (const auto* problem = std::get_if<std::string>(&parsed)) return complain(*problem);
  const Options& options = std::get<Options>(parsed);
  if (options.help) return print(helpText());
  if (options.version) return print(fmt::format("zantop {}\n", ZANCTL_VERSION));
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
  zanctl::live::occupyStandardStreams();
  return zanctl::live::run({argv, static_cast<std::size_t>(argc)});
}
