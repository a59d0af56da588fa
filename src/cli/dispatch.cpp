#include "cli/dispatch.h"

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
#include "reports/property_query.h"
#include "reports/query_report.h"
#include "reports/summary.h"
#include "request/option_values.h"
#include "topology/topology.h"
#include "vgpu/display_loop.h"

#include <array>
#include <ostream>

namespace zanctl {
namespace {

// Whatever becomes of a report, it does not change the exit status.
int runReport(const CommandOptions& o, const DeviceSet& selection, std::ostream& out) {
  if (o.query) {
    runQueryReport({selection, o.xmlFormat, o.dtd, o.display, o.loop, o.filename}, out);
  } else if (o.dtd) {
    out << kDtd << "\n";
  } else if (o.listGpus) {
    printGpuList(out);
  } else {
    runSummary({selection, o.loop, o.filename}, out);
  }
  return 0;
}

int dispatchRoot(const CommandOptions& o, std::uint32_t startupDeviceCount, std::ostream& out) {
  DeviceSet selection;
  if (const int result = resolveDevices(o.id, selection, out); result != 0) return result;
  if (o.gpuReset) return resetGpus({selection, startupDeviceCount}, out);
  if (given(o.ceMask)) return setCeMaskOnGpus({selection, o.ceMask}, out);
  if (o.helpQueryGpu) return printPropertyQueryHelp(out);
  if (o.helpQueryComputeApps) return printComputeQueryHelp(out);
  if (given(o.queryGpu)) {
    return runPropertyQuery({selection, o.queryGpu, o.format, o.loop, o.filename}, out);
  }
  if (given(o.queryComputeApps)) {
    return runComputeQuery({selection, o.queryComputeApps, o.format, o.loop, o.filename}, out);
  }
  return runReport(o, selection, out);
}

struct SubcommandRunner {
  const char* name;
  int (*run)(const CommandOptions&, std::ostream&);
  const char* parent = "";  // what stands before the name in the help that it asks for
};

// The first that was given runs.
constexpr std::array<SubcommandRunner, kSubcommands.size()> kSubcommandRunners = {{
    {"dmon",
     [](const CommandOptions& o, std::ostream& out) { return runDeviceMonitor(o.dmon, out); }},
    {"pmon",
     [](const CommandOptions& o, std::ostream& out) { return runProcessMonitor(o.pmon, out); }},
    {"topo", [](const CommandOptions& o, std::ostream& out) { return runTopology(o.topo, out); }},
    {"vgpu", [](const CommandOptions& o, std::ostream& out) { return runVgpu(o.vgpu, out); }},
    {"stats",
     [](const CommandOptions& o, std::ostream& out) { return runStatistics(o.stats, out); }},
    {"daemon", [](const CommandOptions& o, std::ostream& out) { return runDaemon(o.daemon, out); }},
    {"replay", [](const CommandOptions& o, std::ostream& out) { return runReplay(o.replay, out); },
     "zanctl"},
}};

}  // namespace

int dispatch(const Grammar& grammar, const CommandOptions& options,
             std::uint32_t startupDeviceCount, std::ostream& out) {
  for (const SubcommandRunner& runner : kSubcommandRunners) {
    if (!grammar.parsed(runner.name)) continue;
    const int status = runner.run(options, out);
    if (status != kHelpAsked) return status;
    out << grammar.help(runner.name, runner.parent);
    return 0;
  }
  return dispatchRoot(options, startupDeviceCount, out);
}

}  // namespace zanctl
