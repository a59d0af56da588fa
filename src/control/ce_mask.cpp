#include "control/ce_mask.h"

#include "control/device_checks.h"
#include "device/attributes.h"
#include "device/controller.h"
#include "device/readers.h"
#include "device/session.h"

#include <fmt/ostream.h>

#include <charconv>
#include <ostream>

namespace zanctl {
namespace {

bool hasPrefix(std::string_view text) { return text.starts_with("0x") || text.starts_with("0X"); }

// Whether every selected GPU has all the engines of the mask.
bool isInRange(std::uint32_t mask, const DeviceSet& selection) {
  for (std::uint32_t index = 0; index < session().deviceCount; ++index) {
    if (!isSelected(selection, index)) continue;
    session().currentDevice = index;
    const auto engines = attributes::ceMask();
    if (mask == 0 || !engines || (mask & ~engines->supported) != 0) return false;
  }
  return true;
}

enum class Verdict { goOn, stop };

Verdict setMask(std::uint32_t index, std::uint32_t mask, const std::string& maskText,
                ControlCounts& counts, std::ostream& out) {
  const PciReading gpu = reader().readPciByIndex(index).value_or(PciReading{});
  if (gpu.virtualizationMode == NVML_GPU_VIRTUALIZATION_MODE_VGPU) {
    fmt::print(out, "GPU set CE mask couldn't run because GPU {}is in vGPU mode.\n", gpuText(gpu));
    return Verdict::stop;
  }
  if (!isDeviceFree(index, gpu, out)) {
    ++counts.busy;
    return Verdict::goOn;
  }
  const nvmlReturn_t answer = controller().setCeMask(mask);
  if (answer == NVML_SUCCESS) {
    fmt::print(out, "{} was successfully set CE mask to {}.\n", gpuText(gpu), maskText);
    ++counts.done;
  } else {
    fmt::print(out, "{} was failed to set CE mask, ret with error {} .\n", gpuText(gpu),
               static_cast<int>(answer));
  }
  out.flush();
  return Verdict::goOn;
}

}  // namespace

bool isHexText(std::string_view text) {
  const bool prefixed = hasPrefix(text);
  if (prefixed) text.remove_prefix(2);
  return (!prefixed || !text.empty()) &&
         text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

std::optional<std::uint32_t> hexValue(std::string_view text) {
  if (hasPrefix(text)) text.remove_prefix(2);
  std::uint32_t value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (result.ec == std::errc::result_out_of_range) return std::nullopt;
  return value;
}

int setCeMaskOnGpus(const std::string& maskText, const DeviceSet& selection, std::ostream& out) {
  if (!isHexText(maskText)) {
    fmt::print(out, "Set CE Operation mask \"{}\" is not an valid hex input.\n", maskText);
    return -1;
  }
  const auto mask = hexValue(maskText);
  if (!mask || !isInRange(*mask, selection)) {
    fmt::print(out, "Set CE Operation mask \"{}\" is out of range.\n", maskText);
    return -1;
  }
  if (checkPermissions(selection, "set CE mask of", out) != 0) return -1;
  ControlCounts counts;
  for (std::uint32_t index = 0; index < session().deviceCount; ++index) {
    if (!isSelected(selection, index)) {
      ++counts.done;
    } else if (setMask(index, *mask, maskText, counts, out) == Verdict::stop) {
      return -1;
    }
  }
  return reportCounts(counts, "", "set CE mask", out);
}

}  // namespace zanctl
