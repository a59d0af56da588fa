#include "cli/dispatch.h"
#include "cli/grammar.h"
#include "cli/options.h"
#include "cli/precheck.h"
#include "cli/validation.h"
#include "control/reset_guard.h"
#include "device/session.h"
#include "monitors/statistics.h"
#include "output/standard_streams.h"

#include <fmt/ostream.h>

#include <iostream>
#include <span>
#include <string_view>

namespace zanctl {
namespace {

bool asksForStatisticsHelp(std::span<const char* const> argv) {
  return argv.size() == 3 && argv[1] == std::string_view("stats") && isHelp(argv[2]);
}

int runInSession(const Grammar& grammar, const CommandOptions& options) {
  if (!libraryLoadError().empty()) {
    fmt::print(std::cerr, "zanctl: {}\n", libraryLoadError());
    return -1;
  }
  openSession(0);
  const int status = dispatch(grammar, options);
  closeSession();
  return status;
}

int parseAndRun(std::span<const char* const> argv) {
  CommandOptions options;
  Grammar grammar(options, argv);
  if (hasForbiddenShape(argv)) {
    const int status = grammar.app().exit(
        CLI::InvalidError("Invalid combination of input arguments"), std::cout, std::cerr);
    std::cout << "\n";
    return status;
  }
  try {
    grammar.parse(argv);
  } catch (const CLI::ParseError& error) {
    const int status = grammar.app().exit(error, std::cout, std::cerr);
    if (asksForStatisticsHelp(argv)) printStatisticsHelp(std::cout);
    return status;
  }
  if (validateCommandLine(grammar, options, std::cout, std::cerr) != 0) return -1;
  return runInSession(grammar, options);
}

int run(std::span<const char* const> argv) {
  const std::int32_t resetStatus = readResetStatus();
  if (refusesConcurrentReset(argv, resetStatus, std::cout)) return -1;
  if (waitWhileResetting(resetStatus, std::cout) != 0) {
    std::cout << "Zanctl has failed because it couldn't communicate with the Zanthe driver. Make "
                 "sure that the latest Zanthe driver is installed and running.\n";
    return -1;
  }
  return parseAndRun(argv);
}

}  // namespace
}  // namespace zanctl

int main(int argc, char** argv) {
  zanctl::occupyStandardStreams();
  std::ios::sync_with_stdio(false);
  const int status = zanctl::run({argv, static_cast<std::size_t>(argc)});
  if (!std::cout.flush()) {
    fmt::print(std::cerr, "zanctl: standard output could not be written\n");
    return -1;
  }
  return status;
}
