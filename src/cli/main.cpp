#include "cli/dispatch.h"
#include "cli/grammar.h"
#include "cli/precheck.h"
#include "cli/validation.h"
#include "control/reset_guard.h"
#include "device/controller.h"
#include "device/session.h"
#include "monitors/statistics.h"
#include "output/program_start.h"

#include <iostream>
#include <new>
#include <span>
#include <string_view>

namespace zanctl {
namespace {

constexpr char kNoMemory[] = "zanctl: there is not enough memory\n";

[[gnu::constructor(101)]] void prepareForWantOfMemory() { endOnWantOfMemory(kNoMemory, 255); }

bool asksForStatisticsHelp(std::span<const char* const> argv) {
  return argv.size() == 3 && argv[1] == std::string_view("stats") && isHelp(argv[2]);
}

int runInSession(const Grammar& grammar, const CommandOptions& options,
                 const StartupReading& startup) {
  if (!libraryLoadError().empty()) {
    std::cerr << "zanctl: " << libraryLoadError() << "\n";
    return -1;
  }
  openSession(0);
  const int status = dispatch(grammar, options, startup.deviceCount, std::cout);
  closeSession();
  return status;
}

int parseAndRun(std::span<const char* const> argv, const StartupReading& startup) {
  CommandOptions options;
  Grammar grammar(options, argv, std::cout, std::cerr);
  if (hasForbiddenShape(argv)) {
    const int status = grammar.refuseCombination();
    std::cout << "\n";
    return status;
  }
  if (const auto status = grammar.parse()) {
    if (asksForStatisticsHelp(argv)) printStatisticsHelp(std::cout);
    return *status;
  }
  if (validateCommandLine(grammar, options, std::cout) != 0) return -1;
  return runInSession(grammar, options, startup);
}

int run(std::span<const char* const> argv) {
  const StartupReading startup = controller().readResetStatus();
  if (refusesConcurrentReset(argv, startup.resetStatus, std::cout)) return -1;
  if (waitWhileResetting(startup.resetStatus, std::cout) != 0) {
    std::cout << "Zanctl has failed because it couldn't communicate with the Zanthe driver. Make "
                 "sure that the latest Zanthe driver is installed and running.\n";
    return -1;
  }
  return parseAndRun(argv, startup);
}

}  // namespace
}  // namespace zanctl

int main(int argc, char** argv) {
  zanctl::startProgram();
  try {
    const int status = zanctl::run({argv, static_cast<std::size_t>(argc)});
    if (std::cout.flush()) return status;
    std::cerr << "zanctl: standard output could not be written\n";
  } catch (const std::bad_alloc&) {
    std::cerr << zanctl::kNoMemory;
  }
  return -1;
}
