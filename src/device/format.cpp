#include "device/format.h"

#include <fmt/compile.h>

#include <array>

namespace zanctl {
namespace {

constexpr std::array<std::string_view, 4> kComputeModeNames = {"Default", "E. Thread", "Prohibited",
                                                               "E. Process"};

std::string withUnit(std::int32_t value, std::string_view unit) {
  return value == -1 ? "N/A" : fmt::format("{}{}", value, unit);
}

}  // namespace

std::string fmtText(std::string_view text, std::size_t width) {
  std::string field(text.substr(0, width));
  field.resize(width, ' ');
  return field;
}

std::string fmtInt(std::int32_t value, std::size_t width) {
  return fmtText(fmt::to_string(value), width);
}

std::string fmtIntUnit(std::int32_t value, std::string_view unit, std::size_t width) {
  return fmtText(withUnit(value, unit), width);
}

std::string fmtMemory(std::int32_t usedMiB, std::int32_t totalMiB, std::size_t width) {
  return fmtText(fmt::format("{}MiB / {}MiB", usedMiB, totalMiB), width);
}

std::string fmtPercent(std::int32_t value, std::size_t width) {
  return fmtText(withUnit(value, "%"), width);
}

std::string fmtComputeMode(std::uint32_t mode, std::size_t width) {
  return fmtText(mode < kComputeModeNames.size() ? kComputeModeNames[mode] : "N/A", width);
}

std::string busIdText(const nvmlPciInfo_t& pci) {
  return fmt::format(FMT_COMPILE("{:08X}:{:02X}:{:02X}.0"), pci.domain, pci.bus, pci.device);
}

}  // namespace zanctl
