#include "topology/topology.h"

#include "cli/selection.h"
#include "device/host.h"
#include "device/session.h"
#include "device/topology_reader.h"
#include "topology/link_types.h"
#include "topology/matrix.h"

#include <fmt/ostream.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
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

// Empty when the text is not wholly a number of this base. A number beyond 32 bits reads as their
// largest, which is no processor's and no level's.
std::optional<std::uint32_t> wholeNumber(std::string_view text, int base) {
  std::uint32_t value = 0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, value, base);
  if (end != last || error == std::errc::invalid_argument) return std::nullopt;
  return error == std::errc() ? value : std::numeric_limits<std::uint32_t>::max();
}

// Digits alone are decimal; anything else is hexadecimal, with or without "0x".
std::optional<std::uint32_t> cpuNumber(std::string_view text) {
  if (const auto number = wholeNumber(text, 10)) return number;
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  return wholeNumber(text, 16);
}

// "0 1 5 ".
std::string indexList(const std::vector<std::uint32_t>& gpus) {
  return gpus.empty() ? "" : fmt::format("{} ", fmt::join(gpus, " "));
}

int showConnections(std::ostream& out) {
  const auto numaNodes = numaNodeCount();
  if (!numaNodes) fmt::print(out, "Error reading file {} \n", kNumaNodesFile);
  const auto cpus = static_cast<std::uint32_t>(std::max(onlineCpuCount(), 0));
  writeConnections(out, collectConnections(cpus, numaNodes.value_or(0)));
  return 0;
}

int showGpusNearCpu(std::ostream& out, const std::string& name, std::uint32_t cpu) {
  const auto gpus = topology().readGpusNearCpu(cpu);
  if (gpus.empty()) {
    fmt::print(out, "No GPUs were found to have an affinity with CPU {}.\n", name);
  } else {
    fmt::print(out, "The GPUs that have an affinity with CPU {} are:\n{}\n", name, indexList(gpus));
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
    fmt::print(out, "Device {} is not connected to other devices {}.\n", gpu, type.phrase);
  } else {
    fmt::print(out, "Device {} is connected {} to device(s): {}\n", gpu, type.phrase,
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
  fmt::print(out, "Device {} is connected to device {}", higher, lower);
  if (const LinkType* type = findLinkType(topology().readCommonAncestor(higher))) {
    fmt::print(out, " {}.", type->phrase);
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
  writeP2pStates(out,
                 collectP2pStates(read ? NVML_P2P_CAPS_INDEX_READ : NVML_P2P_CAPS_INDEX_WRITE));
  return 0;
}

}  // namespace

int runTopology(const TopoOptions& options, const std::function<std::string()>& helpText,
                std::ostream& out) {
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
  out << helpText();
  return 0;
}

}  // namespace zanctl
