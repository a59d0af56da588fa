#include "control/ce_mask.h"

#include "control/device_walk.h"
#include "device/attributes.h"
#include "device/controller.h"
#include "device/number_text.h"

#include <algorithm>
#include <ostream>

namespace zanctl {
namespace {

// Whether every selected GPU has all the engines of the mask.
bool isInRange(std::uint64_t mask, const DeviceSet& selection) {
  bool inRange = true;
  forEachDevice(selection, [&](std::uint32_t) {
    if (!inRange) return;
    const auto engines = attributes::ceMask();
    inRange = mask != 0 && engines && (mask & ~std::uint64_t{engines->supported}) == 0;
  });
  return inRange;
}

}  // namespace

int setCeMaskOnGpus(const CeMaskOptions& options, std::ostream& out) {
  // The empty text is a mask without an engine.
  const auto mask = options.mask.empty() ? 0 : hexadecimalNumber(options.mask);
  if (!mask) {
    out << "Set CE Operation mask \"" << options.mask << "\" is not an valid hex input.\n";
    return -1;
  }
  if (!isInRange(*mask, options.selection)) {
    out << "Set CE Operation mask \"" << options.mask << "\" is out of range.\n";
    return -1;
  }
  if (checkPermissions(options.selection, "set CE mask of", out) != 0) return -1;
  const DeviceAction action{
      .apply = [&mask] { return controller().setCeMask(static_cast<std::uint32_t>(*mask)); },
      .title = "GPU set CE mask",
      .success = " was successfully set CE mask to " + options.mask + ".",
      .failure = " was failed to set CE mask, ret with error ",
      .summary = "set CE mask",
      .advice = "",
      .unreadable = "",
  };
  WalkCounts counts;
  if (!walkDevices(options.selection, action, counts, out)) return -1;
  return reportCounts(counts, action, out);
}

}  // namespace zanctl
