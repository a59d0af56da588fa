#include "device/format.h"

#include "device/text.h"

#include <algorithm>
#include <array>
#include <bit>

namespace zanctl {
namespace {

constexpr std::array<std::string_view, 4> kComputeModeNames = {"Default", "E. Thread", "Prohibited",
                                                               "E. Process"};

std::string withUnit(std::int32_t value, std::string_view unit) {
  return value == -1 ? "N/A" : std::to_string(value).append(unit);
}

}  // namespace

std::string fmtText(std::string_view text, std::size_t width) {
  text = beginOf(text, width);
  std::string field(width, ' ');
  text.copy(field.data(), text.size());
  return field;
}

std::string fmtInt(std::int32_t value, std::size_t width) {
  return fmtText(std::to_string(value), width);
}

std::string fmtIntUnit(std::int32_t value, std::string_view unit, std::size_t width) {
  return fmtText(withUnit(value, unit), width);
}

std::string fmtMemory(std::int32_t usedMiB, std::int32_t totalMiB, std::size_t width) {
  return fmtText(std::to_string(usedMiB) + "MiB / " + std::to_string(totalMiB) + "MiB", width);
}

std::string fmtPercent(std::int32_t value, std::size_t width) {
  return fmtText(withUnit(value, "%"), width);
}

std::string fmtComputeMode(std::uint32_t mode, std::size_t width) {
  return fmtText(mode < kComputeModeNames.size() ? kComputeModeNames[mode] : "N/A", width);
}

std::string hexText(std::uint64_t value, std::size_t digits) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text(std::max(digits, (static_cast<std::size_t>(std::bit_width(value)) + 3) / 4),
                   '0');
  for (auto digit = text.rbegin(); digit != text.rend(); ++digit, value >>= 4U) {
    *digit = kDigits[value & 0xFU];
  }
  return text;
}

std::string busIdText(const nvmlPciInfo_t& pci) {
  return hexText(pci.domain, 8) + ':' + hexText(pci.bus, 2) + ':' + hexText(pci.device, 2) + ".0";
}

}  // namespace zanctl
