#include "reports/gpu_report.h"

#include "device/board_power.h"
#include "device/format.h"
#include "reports/reading_text.h"

#include <fmt/compile.h>

#include <array>

namespace zanctl {
namespace {

using Gpu = GpuAttributes;
using Text = std::optional<std::string>;

nvmlPciInfo_t pciOf(Gpu& gpu) { return gpu.pci().value_or(nvmlPciInfo_t{}); }

template <unsigned int nvmlPciInfo_t::*field, int digits>
Text pciNumber(Gpu& gpu) {
  return hexText(pciOf(gpu).*field, digits);
}

// The device and the vendor share a number, the device in its upper half.
template <unsigned int nvmlPciInfo_t::*field>
Text upperHalf(Gpu& gpu) {
  return hexText(pciOf(gpu).*field >> 16U, 4);
}
template <unsigned int nvmlPciInfo_t::*field>
Text lowerHalf(Gpu& gpu) {
  return hexText(pciOf(gpu).*field & 0xFFFFU, 4);
}

template <unsigned long long nvmlMemory_t::*field>
Text memory(Gpu& gpu) {
  return mebibytes(gpu.memory().value_or(nvmlMemory_t{}).*field);
}

template <unsigned int nvmlUtilization_t::*field>
Text utilization(Gpu& gpu) {
  return fmt::to_string(gpu.utilization().value_or(nvmlUtilization_t{}).*field);
}

// A number whose unavailable reading is 0.
template <std::optional<std::uint32_t> (*attribute)()>
Text orZero(Gpu&) {
  return fmt::to_string(attribute().value_or(0));
}

template <std::optional<std::uint32_t> (*attribute)()>
Text number(Gpu&) {
  return shown(attribute());
}

template <std::optional<std::string> (*attribute)()>
Text text(Gpu&) {
  return attribute();
}

template <nvmlTemperatureThresholds_t threshold>
Text thresholdText(Gpu&) {
  return shown(attributes::temperatureThreshold(threshold));
}

template <nvmlPcieUtilCounter_t counter>
Text throughput(Gpu&) {
  return shown(attributes::pcieThroughput(counter));
}

template <nvmlClockType_t type>
Text clockText(Gpu&) {
  return fmt::to_string(attributes::clockInfo(type).value_or(0));
}
template <nvmlClockType_t type>
Text maxClockText(Gpu&) {
  return shown(attributes::maxClockInfo(type));
}

template <nvmlPageRetirementCause_t cause>
Text retiredPages(Gpu&) {
  return shown(attributes::retiredPageCount(cause));
}
constexpr auto kSingleBit = retiredPages<NVML_PAGE_RETIREMENT_CAUSE_MULTIPLE_SINGLE_BIT_ECC_ERRORS>;
constexpr auto kDoubleBit = retiredPages<NVML_PAGE_RETIREMENT_CAUSE_DOUBLE_BIT_ECC_ERROR>;

template <std::optional<attributes::Voltage> (*attribute)()>
Text voltage(Gpu&) {
  const auto value = attribute();
  if (!value || value->integerPart == kUnavailable || value->fractionPart == kUnavailable) {
    return std::nullopt;
  }
  return fmt::format(FMT_COMPILE("{}.{}"), value->integerPart, value->fractionPart);
}

Text ceMask(Gpu& gpu, std::uint32_t attributes::CeMask::*field) {
  const auto& mask = gpu.ceMask();
  if (!mask || (*mask).*field == kUnavailable) return std::nullopt;
  return hexText((*mask).*field, 2);
}

Text boardTemperature(Gpu&) {
  const auto value = attributes::boardTemperature();
  if (!value || value == kUnavailableBoardTemperature) return std::nullopt;
  return fmt::to_string(*value);
}

Text boardId(Gpu& gpu) {
  const auto id = known(gpu.boardId());
  return id ? Text(fmt::format(FMT_COMPILE("{:x}"), *id)) : std::nullopt;
}

Text boardSn(Gpu&) {
  const auto serial = known(attributes::boardSn());
  return serial ? Text(fmt::format(FMT_COMPILE("{:014X}"), *serial)) : std::nullopt;
}

Text gpuSn(Gpu&) {
  const auto serial = known(attributes::gpuSn());
  return serial ? Text(hexText(*serial, 8)) : std::nullopt;
}

Text hostVgpuMode(Gpu& gpu) {
  if (!virtualizationModeName(gpu)) return std::nullopt;
  return hostVgpuModeName(gpu).value_or(kUnavailableText);
}

// The GPUs of a board all show the figure that was read first in this pass.
Text boardPowerText(Gpu& gpu) { return shown(boardPower(gpu.boardId())); }

Text eccMode(Gpu&) {
  const auto mode = attributes::eccMode();
  return mode && mode->current != 0 ? "Enabled" : "Disabled";
}

Text performanceState(Gpu&) {
  return fmt::format(FMT_COMPILE("P{}"),
                     attributes::performanceState().value_or(kUnknownPerformanceState));
}

Text neverAvailable(Gpu&) { return std::nullopt; }

using S = Section;
using F = RowForm;

constexpr std::array kRows = std::to_array<ReportRow>({
    {S::identity, F::line, 1, "Product Name", "product_name", "", [](Gpu& g) { return g.name(); }},
    {S::identity, F::line, 1, "Serial Number", "serial", "", [](Gpu& g) { return g.serial(); }},
    {S::identity, F::line, 1, "GPU UUID", "uuid", "", [](Gpu& g) { return g.uuid(); }},
    {S::identity, F::line, 1, "Minor Number", "minor_number", "", orZero<attributes::minorNumber>},
    {S::identity, F::line, 1, "MultiGPU Board", "multigpu_board", "",
     [](Gpu&) { return Text(attributes::multiGpuBoard() ? "Yes" : "No"); }},
    {S::identity, F::hexLine, 1, "Board ID", "board_id", "", boardId},
    {S::identity, F::line, 1, "GPU Position", "gpu_position", "",
     [](Gpu& g) { return shown(g.boardPosition()); }},
    {S::identity, F::line, 1, "GPU Part Number", "gpu_part_number", "",
     text<attributes::partNumber>},
    {S::identity, F::heading, 1, "GPU Virtualization Mode", "gpu_virtualization_mode"},
    {S::identity, F::optionalLine, 2, "Virtualization Mode", "virtualization_mode", "",
     virtualizationModeName},
    {S::identity, F::optionalLine, 2, "Host VGPU Mode", "host_vgpu_mode", "", hostVgpuMode},
    {S::identity, F::heading, 1, "PCI", "pci"},
    {S::identity, F::hexLine, 2, "Bus", "pci_bus", "", pciNumber<&nvmlPciInfo_t::bus, 2>},
    {S::identity, F::hexLine, 2, "Device", "pci_device", "", pciNumber<&nvmlPciInfo_t::device, 2>},
    {S::identity, F::hexLine, 2, "Domain", "pci_domain", "", pciNumber<&nvmlPciInfo_t::domain, 4>},
    {S::identity, F::hexLine, 2, "Device Id", "pci_device_id", "",
     pciNumber<&nvmlPciInfo_t::pciDeviceId, 8>},
    {S::identity, F::line, 2, "Bus Id", "pci_bus_id", "",
     [](Gpu& g) { return Text(reportBusId(g)); }},
    {S::identity, F::hexLine, 2, "Sub System Id", "pci_sub_system_id", "",
     pciNumber<&nvmlPciInfo_t::pciSubSystemId, 8>},
    {S::identity, F::paddedHeading, 2, "GPU Link Info", "pci_gpu_link_info"},
    {S::identity, F::paddedHeading, 3, "PCIe Generation", "pcie_gen"},
    {S::identity, F::line, 4, "Max", "max_link_gen", "", number<attributes::pcieGenMax>},
    {S::identity, F::line, 4, "Current", "current_link_gen", "",
     number<attributes::pcieGenCurrent>},
    {S::identity, F::paddedHeading, 3, "Link Width", "link_widths"},
    {S::identity, F::line, 4, "Max", "max_link_width", "x", number<attributes::pcieWidthMax>},
    {S::identity, F::line, 4, "Current", "current_link_width", "x",
     number<attributes::pcieWidthCurrent>},
    {S::identity, F::line, 2, "Tx Throughput", "tx_util", " KB/s",
     throughput<NVML_PCIE_UTIL_TX_BYTES>},
    {S::identity, F::line, 2, "Rx Throughput", "rx_util", " KB/s",
     throughput<NVML_PCIE_UTIL_RX_BYTES>},
    {S::identity, F::line, 1, "Fan Speed", "fan_speed", " %", number<attributes::fanSpeed>},

    {S::memory, F::heading, 1, "Memory Usage", "memory_usage"},
    {S::memory, F::line, 2, "Total", "total", " MiB", memory<&nvmlMemory_t::total>},
    {S::memory, F::line, 2, "Used", "used", " MiB", memory<&nvmlMemory_t::used>},
    {S::memory, F::line, 2, "Free", "free", " MiB", memory<&nvmlMemory_t::free>},

    {S::utilization, F::heading, 1, "Utilization", "utilization"},
    {S::utilization, F::line, 2, "Gpu", "gpu_util", " %", utilization<&nvmlUtilization_t::gpu>},
    {S::utilization, F::line, 2, "Memory", "memory_util", " %",
     utilization<&nvmlUtilization_t::memory>},
    {S::utilization, F::line, 2, "Encoder", "encoder_util", " %",
     orZero<attributes::encoderUtilization>},
    {S::utilization, F::line, 2, "Decoder", "decoder_util", " %",
     orZero<attributes::decoderUtilization>},

    {S::ecc, F::heading, 1, "Ecc Mode", "ecc_mode"},
    {S::ecc, F::line, 2, "Current", "current_ecc", "", eccMode},
    {S::ecc, F::line, 2, "Pending", "pending_ecc", "", neverAvailable},

    {S::temperature, F::heading, 1, "Temperature", "temperature"},
    {S::temperature, F::line, 2, "GPU Current Temp", "gpu_temp", " C",
     number<attributes::temperature>},
    {S::temperature, F::line, 2, "GPU Shutdown Temp", "gpu_temp_max_threshold", " C",
     thresholdText<NVML_TEMPERATURE_THRESHOLD_SHUTDOWN>},
    {S::temperature, F::line, 2, "GPU Slowdown Temp", "gpu_temp_slow_threshold", " C",
     thresholdText<NVML_TEMPERATURE_THRESHOLD_SLOWDOWN>},
    {S::temperature, F::line, 2, "GPU Max Operating Temp", "gpu_temp_max_gpu_threshold", " C",
     thresholdText<NVML_TEMPERATURE_THRESHOLD_GPU_MAX>},

    {S::power, F::heading, 1, "Power Readings", "power_readings"},
    {S::power, F::line, 2, "GPU Power Draw", "gpu_power_draw", " W",
     number<attributes::powerUsage>},
    {S::power, F::line, 2, "GPU Power Limit", "gpu_power_limit", " W",
     number<attributes::powerManagementLimit>},
    {S::power, F::line, 2, "Board Power Draw", "board_power_draw", " W", boardPowerText},
    {S::power, F::line, 2, "Board Power Limit", "board_power_limit", " W",
     number<attributes::boardPowerLimit>},

    {S::clock, F::heading, 1, "Clocks", "clocks"},
    {S::clock, F::line, 2, "SM", "sm_clock", " MHz", clockText<NVML_CLOCK_SM>},
    {S::clock, F::line, 2, "Memory", "mem_clock", " MHz", clockText<NVML_CLOCK_MEM>},
    {S::clock, F::heading, 1, "Max Clocks", "max_clocks"},
    {S::clock, F::line, 2, "SM", "sm_clock", " MHz", maxClockText<NVML_CLOCK_SM>},
    {S::clock, F::line, 2, "Memory", "mem_clock", " MHz", maxClockText<NVML_CLOCK_MEM>},

    {S::compute, F::line, 1, "Compute Mode", "compute_mode", "",
     [](Gpu&) { return computeModeName(attributes::computeMode().value_or(0)); }},
    {S::performance, F::line, 1, "Performance State", "performance_state", "", performanceState},

    // The XML report nests a list of pages, which nobody fills, beside each count.
    {S::pageRetirement, F::heading, 1, "Retired Pages", "retired_pages"},
    {S::pageRetirement, F::line, 2, "Single Bit ECC", "", "", kSingleBit},
    {S::pageRetirement, F::line, 2, "Double Bit ECC", "", "", kDoubleBit},
    {S::pageRetirement, F::heading, 2, "", "multiple_single_bit_retirement"},
    {S::pageRetirement, F::line, 3, "", "retired_count", "", kSingleBit},
    {S::pageRetirement, F::line, 3, "", "retired_pagelist", "", neverAvailable},
    {S::pageRetirement, F::heading, 2, "", "double_bit_retirement"},
    {S::pageRetirement, F::line, 3, "", "retired_count", "", kDoubleBit},
    {S::pageRetirement, F::line, 3, "", "retired_pagelist", "", neverAvailable},

    {S::pids, F::processes, 1, "Processes", "processes"},

    {S::hardwareMonitor, F::heading, 1, "Hardware Monitor", ""},
    {S::hardwareMonitor, F::hexLine, 2, "Device ID", "", "",
     upperHalf<&nvmlPciInfo_t::pciDeviceId>},
    {S::hardwareMonitor, F::hexLine, 2, "Vendor ID", "", "",
     lowerHalf<&nvmlPciInfo_t::pciDeviceId>},
    {S::hardwareMonitor, F::hexLine, 2, "Sub Device ID", "", "",
     upperHalf<&nvmlPciInfo_t::pciSubSystemId>},
    {S::hardwareMonitor, F::hexLine, 2, "Sub Vendor ID", "", "",
     lowerHalf<&nvmlPciInfo_t::pciSubSystemId>},
    {S::hardwareMonitor, F::line, 2, "Hardware Version", "", "", text<attributes::hardwareVersion>},
    {S::hardwareMonitor, F::line, 2, "Firmware Version", "", "", text<attributes::firmwareVersion>},
    {S::hardwareMonitor, F::line, 2, "VCC12 Voltage", "", "", voltage<attributes::vddVoltage>},
    {S::hardwareMonitor, F::line, 2, "GPU Voltage", "", "", voltage<attributes::gpuVoltage>},
    {S::hardwareMonitor, F::line, 2, "Memory Voltage", "", "", voltage<attributes::memVoltage>},
    {S::hardwareMonitor, F::hexLine, 2, "GPU SN", "", "", gpuSn},
    {S::hardwareMonitor, F::line, 2, "Board PN", "", "", text<attributes::boardPn>},
    {S::hardwareMonitor, F::line, 2, "Board SN", "", "", boardSn},
    {S::hardwareMonitor, F::line, 2, "Board Temperature", "", " C", boardTemperature},
    {S::hardwareMonitor, F::line, 2, "Date of Manufacture", "", "",
     text<attributes::manufactureDate>},
    {S::hardwareMonitor, F::hexLine, 2, "CE MASK", "", "",
     [](Gpu& g) { return ceMask(g, &attributes::CeMask::mask); }},
    {S::hardwareMonitor, F::hexLine, 2, "CE GOLDEN MASK", "", "",
     [](Gpu& g) { return ceMask(g, &attributes::CeMask::supported); }},
});

}  // namespace

std::span<const ReportRow> reportRows() { return kRows; }

std::string reportBusId(GpuAttributes& gpu) { return busIdText(pciOf(gpu)); }

}  // namespace zanctl
