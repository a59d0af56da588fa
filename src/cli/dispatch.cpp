#include "cli/dispatch.h"

#include "cli/selection.h"
#include "control/ce_mask.h"
#include "control/reset.h"
#include "daemon/daemon.h"
#include "daemon/replay.h"
#include "monitors/device_monitor.h"
#include "monitors/process_monitor.h"
#include "monitors/statistics.h"
#include "reports/compute_query.h"
#include "reports/dtd.h"
#include "reports/gpu_list.h"
#include "reports/loop_option.h"
#include "reports/property_query.h"
#include "reports/query_report.h"
#include "reports/summary.h"
#include "topology/topology.h"
#include "vgpu/display_loop.h"

#include <fmt/ostream.h>

#include <array>
#include <iostream>
#include <string_view>

namespace zanctl {
namespace {

std::string textOrEmpty(const std::string& option) { return given(option) ? option : ""; }

void checkLoopAndRunSummary(const CommandOptions& options, const DeviceSet& selection) {
  if (const auto period = readLoopOption(options.loop, std::cout)) {
    printSummary(selection, textOrEmpty(options.filename), *period);
  } else {
    std::cout << "\n";
  }
}

// Whatever becomes of a report, it does not change the exit status.
void runReport(const CommandOptions& options, const DeviceSet& selection) {
  if (options.query) {
    runQueryReport(options, selection);
  } else if (options.dtd) {
    std::cout << kDtd << "\n";
  } else if (options.listGpus) {
    printGpuList(std::cout);
  } else {
    checkLoopAndRunSummary(options, selection);
  }
}

int dispatchRoot(const CommandOptions& options, const DeviceSet& selection) {
  if (options.gpuReset) return resetGpus(selection, std::cout);
  if (given(options.ceMask)) return setCeMaskOnGpus(options.ceMask, selection, std::cout);
  if (options.helpQueryGpu) {
    printPropertyQueryHelp(std::cout);
    return 0;
  }
  if (options.helpQueryComputeApps) {
    printComputeQueryHelp(std::cout);
    return 0;
  }
  const auto request = [&options](const std::string& properties) {
    return CsvRequest{properties, options.format, options.loop, textOrEmpty(options.filename)};
  };
  if (given(options.queryGpu)) return runPropertyQuery(request(options.queryGpu), selection);
  if (given(options.queryComputeApps)) {
    return runComputeQuery(request(options.queryComputeApps), selection);
  }
  runReport(options, selection);
  return 0;
}

int runTopo(const Grammar& grammar, const CommandOptions& options) {
  return runTopology(
      options.topo, [&grammar] { return grammar.subcommand("topo").help(); }, std::cout);
}

struct SubcommandRunner {
  const char* name;
  int (*run)(const Grammar&, const CommandOptions&);
};

// The first that was given runs.
constexpr std::array<SubcommandRunner, kSubcommands.size()> kSubcommandRunners = {{
    {"dmon", [](const Grammar&, const CommandOptions& o) { return runDeviceMonitor(o.dmon); }},
    {"pmon", [](const Grammar&, const CommandOptions& o) { return runProcessMonitor(o.pmon); }},
    {"topo", runTopo},
    {"vgpu", [](const Grammar&, const CommandOptions& o) { return runVgpu(o.vgpu); }},
    {"stats", [](const Grammar&, const CommandOptions& o) { return runStatistics(o.stats); }},
    {"daemon", [](const Grammar&, const CommandOptions& o) { return runDaemon(o.daemon); }},
    {"replay",
     [](const Grammar& grammar, const CommandOptions& o) {
       return runReplay(o.replay, grammar.subcommand("replay").help("zanctl"));
     }},
}};

}  // namespace

int dispatch(const Grammar& grammar, const CommandOptions& options) {
  for (const SubcommandRunner& runner : kSubcommandRunners) {
    if (grammar.parsed(runner.name)) return runner.run(grammar, options);
  }
  DeviceSet selection;
  if (const int result = resolveDevices(options.id, selection, std::cout); result != 0) {
    return result;
  }
  return dispatchRoot(options, selection);
}

}  // namespace zanctl
