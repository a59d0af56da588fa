#include "collector/collector.h"
#include "exporter/json_format.h"
#include "exporter/options.h"
#include "exporter/server.h"
#include "exporter/text_format.h"
#include "output/program_start.h"
#include "output/replace_file.h"
#include "output/version.h"

#include <fmt/format.h>

namespace zanctl::exporter {
namespace {

[[gnu::constructor(101)]] void prepareForWantOfMemory() {
  endOnWantOfMemory("zanctl-exporter: there is not enough memory\n", 1);
}

std::string onceText(const Options& options, const collector::Snapshot& snapshot) {
  if (options.format == OutputFormat::json) return writeJson(snapshot);
  return writeText(options.format == OutputFormat::openMetrics ? TextFormat::openMetrics
                                                               : TextFormat::prometheus,
                   Scrape(snapshot, options.groups));
}

int run(std::span<char* const> argv) {
  const auto parsed = parseOptions(argv);
  if (const auto* problem = std::get_if<std::string>(&parsed)) return kVoice.complain(*problem);
  const Options& options = std::get<Options>(parsed);
  if (options.help) return kVoice.print(helpText());
  if (options.version) return kVoice.print(fmt::format("zanctl-exporter {}\n", kVersion));

  collector::Collector collector;
  if (collector.descriptor() < 0) return kVoice.complain("there are no descriptors left");
  if (options.once) {
    return kVoice.print(onceText(options, collector.takeRound({.groups = options.groups})));
  }
  if (!options.textfile.empty()) {
    const Scrape scrape(collector.takeRound({.groups = options.groups}), options.groups);
    const std::string problem =
        replaceFile(options.textfile, writeText(TextFormat::prometheus, scrape));
    return problem.empty() ? 0 : kVoice.complain(problem);
  }
  return serve(options, collector);
}

}  // namespace
}  // namespace zanctl::exporter

int main(int argc, char** argv) {
  zanctl::startProgram();
  return zanctl::exporter::run({argv, static_cast<std::size_t>(argc)});
}
