#include "device/format.h"
#include "device/records.h"
#include "device/text.h"
#include "device/time.h"
#include "output/text.h"
#include "vgpu/views.h"

#include <string.h>

namespace zanctl {
namespace {

constexpr std::string_view kBorder =
    "+-----------------------------------------------------------------------------+\n";
constexpr std::string_view kTitles =
    "|---------------------------------+------------------------------+------------+\n"
    "| GPU  Name                       | Bus-Id                       | GPU-Util   |\n"
    "|      vGPU ID     Name           | VM ID     VM Name            | vGPU-Util  |\n"
    "|=================================+==============================+============|\n";
constexpr std::string_view kGpuRule =
    "+---------------------------------+------------------------------+------------+\n";

std::string percent(std::uint32_t value) { return fmtPercent(static_cast<std::int32_t>(value), 8); }

// The library's own text of the bus id.
std::string busIdOf(const nvmlPciInfo_t& pci) {
  const std::string text = cleanText({pci.busId, strnlen(pci.busId, sizeof pci.busId)});
  return text.empty() ? kUnavailableText : text;
}

}  // namespace

void writeActiveListHead(std::string& text, const VgpuView& view) {
  join(text, timestampLine(view.time), kBorder);
  join(text, "|      ZAN-ML: ", fmtText(view.libraryVersion, 7),
       "                 Driver Version: ", fmtText(view.driverVersion, 7), "                |\n");
  join(text, kTitles);
}

void writeActiveList(std::string& text, std::uint32_t gpu, const VgpuView& view) {
  join(text, "| ", fmtInt(static_cast<std::int32_t>(gpu), 2), "   ", fmtText(view.name, 24),
       "   | ", fmtText(busIdOf(view.pci), 20), "         | ", percent(view.gpuUtilization),
       "   |\n");
  const LatestSamples samples = latestSamples(view.samples);
  // A vGPU without a sample shows the value of the row above it.
  std::uint32_t utilization = 0;
  for (const VgpuInstance& instance : view.instances) {
    if (const auto sample = samples.find(instance.id); sample != samples.end()) {
      utilization = sample->second.sm;
    }
    join(text, "|       ");
    alignRight(text, 4, Hexadecimal(instance.id), '0');
    join(text, "  ", fmtText(instance.typeName, 20), "| ", fmtText(instance.vmUuid, 4), "...  ",
         fmtText(instance.vmName, 20), "|    ", percent(utilization), "|\n");
  }
  join(text, kGpuRule);
}

}  // namespace zanctl
