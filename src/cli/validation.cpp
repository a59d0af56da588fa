#include "cli/validation.h"

#include <algorithm>
#include <ostream>

namespace zanctl {
namespace {

// daemon and replay are not among the subcommands that exclude each other.
constexpr std::array kExclusiveSubcommands = {"dmon", "pmon", "topo", "vgpu", "stats"};

long exclusiveSubcommandCount(const Grammar& grammar) {
  return std::count_if(kExclusiveSubcommands.begin(), kExclusiveSubcommands.end(),
                       [&grammar](const char* name) { return grammar.parsed(name); });
}

// The views of `vgpu` exclude each other; -v alone stands for a view, and -v with -c for one.
bool isVgpuModeConflict(const VgpuOptions& vgpu) {
  const bool types = vgpu.verbose && !vgpu.creatable;
  const int count =
      vgpu.query + vgpu.utilization + vgpu.pmon + (types ? 1 : vgpu.supported + vgpu.creatable);
  return count > 1;
}

// How many modes the help and CSV query options ask for.
int queryModeCount(const CommandOptions& o) {
  const bool i = given(o.id);
  int count = 0;
  if (o.helpQueryComputeApps) {
    count = (i ? 2 : 1) * (o.helpQueryGpu ? 2 : 1);
  } else if (o.helpQueryGpu) {
    count = i ? 2 : 1;
  }
  if (given(o.queryComputeApps)) return count + (given(o.queryGpu) ? 2 : 1);
  return count + (given(o.queryGpu) || given(o.format) ? 1 : 0);
}

bool isModeConflict(const CommandOptions& o, bool subcommand) {
  const bool i = given(o.id);
  const bool f = given(o.filename);
  const bool l = given(o.loop);
  const bool dtdAlone = o.dtd && !o.query;
  int modes = o.query ? 1 : 0;
  if (o.gpuReset) modes += 1 + f + l;
  if (given(o.ceMask)) modes += 1 + f + l;
  if (o.listGpus) {
    if (subcommand) return true;
    modes += 1 + i + f + l;
  } else if (subcommand) {
    if (modes != 0 || i || f || l || dtdAlone) return true;
    modes = 1;
  } else if (dtdAlone) {
    if (modes != 0 || i || l) return true;
    modes = 1;
  }
  return isVgpuModeConflict(o.vgpu) || modes + queryModeCount(o) >= 2;
}

// Why a choice of report sections or format is refused; null when it is not.
const char* reportConflict(const CommandOptions& o) {
  if (given(o.display) && !o.query) {
    return "Specify -q/--query and -d/--display to run a filtered query\n";
  }
  if ((o.xmlFormat && !o.query) || (o.query && o.dtd && !o.xmlFormat)) {
    return "Specify -q/--query and -x/--xml-format to run an XML query\n";
  }
  if (o.query && o.xmlFormat && given(o.display)) {
    return "--display/-d flags can not be combined with -x/--xml-format flags\n";
  }
  return nullptr;
}

const char* topologyConflict(const TopoOptions& topo) {
  const bool nearest = given(topo.nearestGpus);
  if (!given(topo.id)) {
    if (topo.gpuPath) {
      return "Path command line flag must be used in conjection with the -i argument which must be "
             "two GPU identifiers.\n";
    }
    if (nearest) {
      return "Nearest GPUs argument must be used in conjunction with the -i argument which must be "
             "a single identifier.";
    }
    return nullptr;
  }
  if (nearest && topo.gpuPath) {
    return "The -n commland line argument should not be used in conjunction with -p ";
  }
  if (!nearest && !topo.gpuPath) {
    return "The -i command line argument must be used in conjunction with -n or -p.\n";
  }
  return nullptr;
}

}  // namespace

int validateCommandLine(const Grammar& grammar, const CommandOptions& options, std::ostream& out) {
  const long subcommands = exclusiveSubcommandCount(grammar);
  if (subcommands >= 2) {
    out << "There are more than 1 subcommand been inputed! \n";
    return grammar.refuseLeftOvers();
  }
  if (isModeConflict(options, subcommands == 1)) {
    [[maybe_unused]] const int explained = grammar.refuseCombination();
    out << "\n";
    return -1;
  }
  if (const char* reason = reportConflict(options)) {
    out << "Invalid combination of input arguments: " << reason
        << "Run with --help for more information.\n\n";
    return -1;
  }
  if (const char* reason = topologyConflict(options.topo)) {
    out << reason << "\n";
    return -1;
  }
  return 0;
}

}  // namespace zanctl
