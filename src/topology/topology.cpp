#include "topology/topology.h"

#include "device/host.h"
#include "device/number_text.h"
#include "device/selection.h"
#include "device/topology_reader.h"
#include "request/option_values.h"
#include "topology/link_types.h"
#include "topology/matrix.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <ostream>
#include <string_view>

namespace zanctl {
namespace {

int refuse(std::ostream& out, std::string_view message) {
  out << message << "\n";
  return -1;
}

// Digits alone are decimal; anything else is hexadecimal, with or without "0x". A number beyond 32
// bits reads as their largest, which is no processor's.
std::optional<std::uint32_t> cpuNumber(std::string_view text) {
  const auto decimal = wholeNumber(text, 10);
  const auto number = decimal ? decimal : hexadecimalNumber(text);
  constexpr std::uint64_t kLargest = std::numeric_limits<std::uint32_t>::max();
  return number ? std::optional(static_cast<std::uint32_t>(std::min(*number, kLargest)))
                : std::nullopt;
}

// "0 1 5 ".
std::string indexList(const std::vector<std::uint32_t>& gpus) {
  std::string list;
  for (const std::uint32_t gpu : gpus) list += std::to_string(gpu) + " ";
  return list;
}

int showConnections(std::ostream& out) {
  const auto numaNodes = numaNodeCount();
  if (!numaNodes) out << "Error reading file " << kNumaNodesFile << " \n";
  const auto cpus = static_cast<std::uint32_t>(std::max(onlineCpuCount(), 0));
  printConnections(cpus, numaNodes.value_or(0), out);
  return 0;
}

int showGpusNearCpu(std::ostream& out, const std::string& name, std::uint32_t cpu) {
  const auto gpus = topology().readGpusNearCpu(cpu);
  if (gpus.empty()) {
    out << fmt::format("No GPUs were found to have an affinity with CPU {}.\n", name);
  } else {
    out << fmt::format("The GPUs that have an affinity with CPU {} are:\n{}\n", name,
                       indexList(gpus));
  }
  return 0;
}

int showNearestGpus(std::ostream& out, const DeviceSet& selection, std::string_view levelText) {
  if (selection.size() != 1) {
    return refuse(out,
                  "Nearest GPUs argument must be used in conjunction with the -i argument which "
                  "must be a single identifier.");
  }
  const auto level = wholeNumber(levelText, 10);
  if (!level) {
    return refuse(out, "Failed to parse device specified for the nearest GPU command-line flag");
  }
  if (*level >= kLinkTypes.size()) return refuse(out, "Failed to display the nearest GPUs");
  const LinkType& type = kLinkTypes[*level];
  const std::int32_t gpu = *selection.begin();
  session().currentDevice = static_cast<std::uint32_t>(gpu);
  const auto nearest = topology().readNearestGpus(type.level);
  if (nearest.empty()) {
    out << fmt::format("Device {} is not connected to other devices {}.\n", gpu, type.phrase);
  } else {
    out << fmt::format("Device {} is connected {} to device(s): {}\n", gpu, type.phrase,
                       indexList(nearest));
  }
  return 0;
}

int showPath(std::ostream& out, const DeviceSet& selection) {
  if (selection.size() != 2) {
    return refuse(out,
                  "Path command line flag must be used in conjection with the -i argument which "
                  "must be two GPU identifiers.");
  }
  const auto lower = static_cast<std::uint32_t>(*selection.begin());
  const auto higher = static_cast<std::uint32_t>(*selection.rbegin());
  session().currentDevice = lower;
  out << fmt::format("Device {} is connected to device {}", higher, lower);
  if (const LinkType* type = findLinkType(topology().readCommonAncestor(higher))) {
    out << " " << type->phrase << ".";
  }
  out << "\n\n";
  return 0;
}

int showP2pStates(std::ostream& out, const std::string& capabilities) {
  if (capabilities.empty() ||
      capabilities.find_first_not_of(kP2pCapabilities) != std::string::npos) {
    return refuse(out, "Invalid p2p capability index specified at the command-line");
  }
  const bool read = capabilities.front() == 'r';
  printP2pStates(read ? NVML_P2P_CAPS_INDEX_READ : NVML_P2P_CAPS_INDEX_WRITE, out);
  return 0;
}

}  // namespace

int runTopology(const TopoOptions& options, std::ostream& out) {
  DeviceSet selection;
  if (resolveDevices(options.id, selection, out) != 0) return -1;
  const auto cpu = cpuNumber(options.cpu);
  if (given(options.cpu) && !cpu) {
    return refuse(out, "Failed to parse device specified for the CPU affinity command-line flag");
  }
  if (options.matrix || options.matrixPci) return showConnections(out);
  if (given(options.cpu)) return showGpusNearCpu(out, options.cpu, *cpu);
  if (given(options.nearestGpus)) return showNearestGpus(out, selection, options.nearestGpus);
  if (options.gpuPath) return showPath(out, selection);
  if (given(options.p2pStatus)) return showP2pStates(out, options.p2pStatus);
  return kHelpAsked;
}

}  // namespace zanctl
