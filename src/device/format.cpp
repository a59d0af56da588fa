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

void appendHex(std::string& text, std::uint64_t value, std::size_t digits) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  text.append(std::max(digits, (static_cast<std::size_t>(std::bit_width(value)) + 3) / 4), '0');
  for (auto digit = text.rbegin(); value != 0; ++digit, value >>= 4U) {
    *digit = kDigits[value & 0xFU];
  }
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
  std::string text;
  appendHex(text, value, digits);
  return text;
}

std::string busIdText(const nvmlPciInfo_t& pci) {
  std::string text;
  text.reserve(std::string_view("00000000:00:00.0").size());
  appendHex(text, pci.domain, 8);
  appendHex(text += ':', pci.bus, 2);
  appendHex(text += ':', pci.device, 2);
  text += ".0";
  return text;
}

}  // namespace zanctl
