#include "vgpu/display_loop.h"

#include "device/selection.h"
#include "device/vgpu_readers.h"
#include "output/pass_loop.h"
#include "output/text.h"
#include "request/option_values.h"
#include "vgpu/views.h"

#include <algorithm>
#include <array>
#include <optional>
#include <ostream>

namespace zanctl {
namespace {

struct View {
  bool (*isAsked)(const VgpuOptions&);
  std::uint32_t needs;        // a set of ViewPart
  std::uint32_t headNeeds;    // the same, where the head is due
  std::uint64_t leastPeriod;  // seconds; a view that scrolls has one
  std::uint64_t headEvery;    // passes; 0 without a head
  void (*writeHead)(std::string&, const VgpuView&);
  void (*write)(std::string&, std::uint32_t gpu, const VgpuView&);
};

constexpr std::uint64_t kScrollPeriod = 1;
constexpr std::uint64_t kScrollHeadEvery = 10;

// The first that is asked for is shown.
constexpr std::array<View, 8> kViews = {{
    {[](const VgpuOptions& o) { return o.query; }, kPci | kInstances | kSamples, 0, 0, 0, nullptr,
     writeVgpuQuery},
    {[](const VgpuOptions& o) { return o.creatable && o.verbose; }, kPci | kCreatableTypes, 0, 0, 0,
     nullptr, writeTypes},
    {[](const VgpuOptions& o) { return o.creatable; }, kPci | kCreatableTypes | kNamesAlone, 0, 0,
     0, nullptr, writeTypeNames},
    {[](const VgpuOptions& o) { return o.supported && o.verbose; }, kPci | kSupportedTypes, 0, 0, 0,
     nullptr, writeTypes},
    {[](const VgpuOptions& o) { return o.supported; }, kPci | kSupportedTypes | kNamesAlone, 0, 0,
     0, nullptr, writeTypeNames},
    {[](const VgpuOptions& o) { return o.utilization; }, kSamples, 0, kScrollPeriod,
     kScrollHeadEvery, writeUtilizationHead, writeUtilization},
    {[](const VgpuOptions& o) { return o.pmon; }, kVgpuIds | kProcessSamples, 0, kScrollPeriod,
     kScrollHeadEvery, writeProcessUtilizationHead, writeProcessUtilization},
    {[](const VgpuOptions&) { return true; },
     kPci | kIdentity | kInstances | kNamesAlone | kSamples, kVersions, 0, 1, writeActiveListHead,
     writeActiveList},
}};

// The period in seconds, 0 for once; empty after saying that the value is not one.
std::optional<std::uint64_t> readPeriod(const std::string& option, std::ostream& out) {
  if (!given(option)) return 0;
  const std::int64_t seconds = decimalNumber(option);
  if (seconds >= 1) return static_cast<std::uint64_t>(seconds);
  refusePeriod(out);
  out << "Run with vgpu --help for more information.\n";
  return std::nullopt;
}

AfterPass show(const View& view, const DeviceSet& selection, const Pass& pass) {
  if (session().deviceCount == 0) return AfterPass::stop;
  bool headIsDue = view.headEvery != 0 && pass.number % view.headEvery == 0;
  bool found = false;
  forEachDevice(selection, [&](std::uint32_t gpu) {
    if (!isInVgpuMode()) return;
    found = true;
    const VgpuView record =
        collectVgpuView(view.needs | (headIsDue ? view.headNeeds : 0U), pass.start.tv_sec);
    if (headIsDue) view.writeHead(pass.text(), record);
    headIsDue = false;
    view.write(pass.text(), gpu, record);
    pass.output.flush();
  });
  if (found) return AfterPass::goOn;
  join(pass.text(), "Not supported devices in vGPU mode\n");
  return AfterPass::stop;
}

}  // namespace

int runVgpu(const VgpuOptions& options, std::ostream& out) {
  DeviceSet selection;
  if (resolveDevices(options.id, selection, out) != 0) return -1;
  const auto period = readPeriod(options.loop, out);
  if (!period) return -1;
  const View& view = *std::find_if(kViews.begin(), kViews.end(), [&options](const View& candidate) {
    return candidate.isAsked(options);
  });
  Output output("", out);
  return statusOf(
      runPassesUntilStopped(output, onceOrEvery(std::max(*period, view.leastPeriod)),
                            [&](const Pass& pass) { return show(view, selection, pass); }));
}

}  // namespace zanctl
