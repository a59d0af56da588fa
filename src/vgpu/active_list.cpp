#include "device/format.h"
#include "device/records.h"
#include "device/time.h"
#include "vgpu/views.h"

#include <fmt/ostream.h>

#include <ostream>

#include <string.h>

namespace zanctl {
namespace {

constexpr std::string_view kBorder =
    "+-----------------------------------------------------------------------------+\n";
constexpr std::string_view kTitles =
    "|---------------------------------+------------------------------+------------|\n"
    "| GPU  Name                       | Bus-Id                       | GPU-Util   |\n"
    "|      vGPU ID     Name           | VM ID     VM Name            | vGPU-Util  |\n"
    "|=================================+==============================+============|\n";
constexpr std::string_view kGpuRule =
    "+---------------------------------+------------------------------+------------+\n";

std::string percent(std::uint32_t value) { return fmtPercent(static_cast<std::int32_t>(value), 8); }

// The library's own text of the bus id.
std::string busIdOf(const nvmlPciInfo_t& pci) {
  const std::string text(pci.busId, strnlen(pci.busId, sizeof pci.busId));
  return text.empty() ? kUnavailableText : text;
}

}  // namespace

void writeActiveListHead(std::ostream& out, const VgpuView& view) {
  out << timestampLine(view.time) << kBorder;
  fmt::print(out, "|      ZAN-ML: {}                 Driver Version: {}                |\n",
             fmtText(view.libraryVersion, 7), fmtText(view.driverVersion, 7));
  out << kTitles;
}

void writeActiveList(std::ostream& out, std::uint32_t gpu, const VgpuView& view) {
  fmt::print(out, "| {}   {}   | {}         | {}   |\n", fmtInt(static_cast<std::int32_t>(gpu), 2),
             fmtText(view.name, 24), fmtText(busIdOf(view.pci), 20), percent(view.gpuUtilization));
  const LatestSamples samples = latestSamples(view.samples);
  // A vGPU without a sample shows the value of the row above it.
  std::uint32_t utilization = 0;
  for (const VgpuInstance& instance : view.instances) {
    if (const auto sample = samples.find(instance.id); sample != samples.end()) {
      utilization = sample->second.sm;
    }
    fmt::print(out, "|       {:04x}  {}| {}...  {}|    {}|\n", instance.id,
               fmtText(instance.typeName, 20), fmtText(instance.vmUuid, 4),
               fmtText(instance.vmName, 20), percent(utilization));
  }
  out << kGpuRule;
}

}  // namespace zanctl
