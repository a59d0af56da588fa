#include "vgpu/display_loop.h"

#include "cli/selection.h"
#include "device/session.h"
#include "device/vgpu_readers.h"
#include "output/option_text.h"
#include "output/pass_loop.h"
#include "vgpu/views.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <optional>

namespace zanctl {
namespace {

struct View {
  bool (*isAsked)(const VgpuOptions&);
  std::uint32_t needs;        // a set of ViewPart
  std::uint64_t leastPeriod;  // seconds; a view that scrolls has one
  std::uint64_t headEvery;    // passes; 0 without a head
  void (*writeHead)(std::ostream&, const VgpuView&);
  void (*write)(std::ostream&, std::uint32_t gpu, const VgpuView&);
};

constexpr std::uint64_t kScrollPeriod = 1;
constexpr std::uint64_t kScrollHeadEvery = 10;

// The first that is asked for is shown.
constexpr std::array<View, 8> kViews = {{
    {[](const VgpuOptions& o) { return o.query; }, kPci | kInstances | kSamples, 0, 0, nullptr,
     writeVgpuQuery},
    {[](const VgpuOptions& o) { return o.creatable && o.verbose; }, kPci | kCreatableTypes, 0, 0,
     nullptr, writeTypes},
    {[](const VgpuOptions& o) { return o.creatable; }, kPci | kCreatableTypes, 0, 0, nullptr,
     writeTypeNames},
    {[](const VgpuOptions& o) { return o.supported && o.verbose; }, kPci | kSupportedTypes, 0, 0,
     nullptr, writeTypes},
    {[](const VgpuOptions& o) { return o.supported; }, kPci | kSupportedTypes, 0, 0, nullptr,
     writeTypeNames},
    {[](const VgpuOptions& o) { return o.utilization; }, kSamples, kScrollPeriod, kScrollHeadEvery,
     writeUtilizationHead, writeUtilization},
    {[](const VgpuOptions& o) { return o.pmon; }, kVgpuIds | kProcessSamples, kScrollPeriod,
     kScrollHeadEvery, writeProcessUtilizationHead, writeProcessUtilization},
    {[](const VgpuOptions&) { return true; }, kIdentity | kInstances | kSamples, 0, 1,
     writeActiveListHead, writeActiveList},
}};

// The period in seconds, 0 for once; empty after saying that the value is not one.
std::optional<std::uint64_t> readPeriod(const std::string& option, std::ostream& out) {
  if (!given(option)) return 0;
  const std::int64_t seconds = decimalNumber(option);
  if (seconds >= 1) return static_cast<std::uint64_t>(seconds);
  out << "Provided [-l | --loop=] value is incorrect. Loop frequency must be greater than 0.\n"
         "Run with vgpu --help for more information.\n";
  return std::nullopt;
}

AfterPass show(const View& view, const DeviceSet& selection, const Pass& pass) {
  if (session().deviceCount == 0) return AfterPass::stop;
  bool headIsDue = view.headEvery != 0 && pass.number % view.headEvery == 0;
  bool found = false;
  for (std::uint32_t gpu = 0; gpu < session().deviceCount; ++gpu) {
    if (!isSelected(selection, gpu)) continue;
    session().currentDevice = gpu;
    if (!isInVgpuMode()) continue;
    found = true;
    const VgpuView record = collectVgpuView(view.needs, pass.start.tv_sec);
    if (headIsDue) view.writeHead(pass.out, record);
    headIsDue = false;
    view.write(pass.out, gpu, record);
  }
  if (found) return AfterPass::goOn;
  pass.out << "Not supported devices in vGPU mode\n";
  return AfterPass::stop;
}

}  // namespace

int runVgpu(const VgpuOptions& options) {
  DeviceSet selection;
  if (resolveDevices(options.id, selection, std::cout) != 0) return -1;
  const auto period = readPeriod(options.loop, std::cout);
  if (!period) return -1;
  const View& view = *std::find_if(kViews.begin(), kViews.end(), [&options](const View& candidate) {
    return candidate.isAsked(options);
  });
  Output output("");
  const LoopEnd end =
      runPassesUntilStopped(output, onceOrEvery(std::max(*period, view.leastPeriod)),
                            [&](const Pass& pass) { return show(view, selection, pass); });
  return end == LoopEnd::outputLost ? -1 : 0;
}

}  // namespace zanctl
