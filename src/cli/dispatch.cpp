#include "cli/dispatch.h"

#include "cli/selection.h"
#include "output/option_text.h"
#include "reports/gpu_list.h"
#include "reports/summary.h"

#include <fmt/ostream.h>

#include <iostream>
#include <string_view>

namespace zanctl {
namespace {

constexpr std::int64_t kDefaultLoopSeconds = 5;

int refuseUnavailable(std::string_view what) {
  fmt::print(std::cerr, "zanctl: {} is not available in this version\n", what);
  return -1;
}

// The summary does not change the exit status, whatever becomes of it.
void checkLoopAndRunSummary(const CommandOptions& options, const DeviceSet& selection) {
  std::int64_t seconds = 0;
  if (given(options.loop)) {
    seconds = options.loop.empty() ? kDefaultLoopSeconds : decimalNumber(options.loop);
    if (seconds < 1) {
      fmt::print(std::cout,
                 "Provided [-l | --loop=] value is incorrect. Loop frequency must be greater than "
                 "0.\nThe value -l, --loop is not an allowed value for {}. Run with --help for "
                 "more information.\n\n",
                 options.loop);
      return;
    }
  }
  printSummary(selection, given(options.filename) ? options.filename : "",
               static_cast<std::uint64_t>(seconds));
}

int dispatchRoot(const CommandOptions& options, const DeviceSet& selection) {
  if (options.gpuReset) return refuseUnavailable("--gpu-reset");
  if (given(options.ceMask)) return refuseUnavailable("--set-ce-mask");
  if (options.helpQueryGpu) return refuseUnavailable("--help-query-gpu");
  if (options.helpQueryComputeApps) return refuseUnavailable("--help-query-compute-apps");
  if (given(options.queryGpu)) return refuseUnavailable("--query-gpu");
  if (given(options.queryComputeApps)) return refuseUnavailable("--query-compute-apps");
  if (options.query) return refuseUnavailable("--query");
  if (options.dtd) return refuseUnavailable("--dtd");
  if (options.listGpus) {
    printGpuList(std::cout);
  } else {
    checkLoopAndRunSummary(options, selection);
  }
  return 0;
}

}  // namespace

int dispatch(const Grammar& grammar, const CommandOptions& options) {
  for (const char* name : kSubcommands) {
    if (grammar.parsed(name)) return refuseUnavailable(name);
  }
  DeviceSet selection;
  if (const int result = resolveDevices(options.id, selection, std::cout); result != 0) {
    return result;
  }
  return dispatchRoot(options, selection);
}

}  // namespace zanctl
