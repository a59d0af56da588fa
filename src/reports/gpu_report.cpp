#include "reports/gpu_report.h"

#include "device/board_power.h"
#include "device/format.h"
#include "reports/reading_text.h"

#include <array>

namespace zanctl {
namespace {

using Gpu = GpuAttributes;

const nvmlPciInfo_t& pciOf(Gpu& gpu) {
  static constexpr nvmlPciInfo_t kUnknown{};
  return gpu.pci() ? *gpu.pci() : kUnknown;
}

bool writeHex(std::string& text, std::uint64_t value, std::size_t digits) {
  text += hexText(value, digits);
  return true;
}

template <unsigned int nvmlPciInfo_t::*field, std::size_t digits>
bool pciNumber(std::string& text, Gpu& gpu) {
  return writeHex(text, pciOf(gpu).*field, digits);
}

// The device and the vendor share a number, the device in its upper half.
template <unsigned int nvmlPciInfo_t::*field>
bool upperHalf(std::string& text, Gpu& gpu) {
  return writeHex(text, pciOf(gpu).*field >> 16U, 4);
}
template <unsigned int nvmlPciInfo_t::*field>
bool lowerHalf(std::string& text, Gpu& gpu) {
  return writeHex(text, pciOf(gpu).*field & 0xFFFFU, 4);
}

bool busId(std::string& text, Gpu& gpu) {
  text += reportBusId(gpu);
  return true;
}

template <unsigned long long nvmlMemory_t::*field>
bool memory(std::string& text, Gpu& gpu) {
  return writeMebibytes(text, gpu.memory().value_or(nvmlMemory_t{}).*field);
}

// The readings whose mark is 0 are always available.
bool writeOrZero(std::string& text, std::optional<std::uint32_t> value) {
  join(text, Decimal(value.value_or(0)));
  return true;
}

template <unsigned int nvmlUtilization_t::*field>
bool utilization(std::string& text, Gpu& gpu) {
  return writeOrZero(text, gpu.utilization().value_or(nvmlUtilization_t{}).*field);
}

template <std::optional<std::uint32_t> (*attribute)()>
bool orZero(std::string& text, Gpu&) {
  return writeOrZero(text, attribute());
}

template <nvmlClockType_t type>
bool currentClock(std::string& text, Gpu&) {
  return writeOrZero(text, attributes::clockInfo(type));
}

template <std::optional<attributes::Voltage> (*attribute)()>
bool voltage(std::string& text, Gpu&) {
  const auto value = attribute();
  if (!value || value->integerPart == kUnavailable || value->fractionPart == kUnavailable) {
    return false;
  }
  join(text, Decimal(value->integerPart), ".", Decimal(value->fractionPart));
  return true;
}

template <std::uint32_t attributes::CeMask::*field>
bool ceMask(std::string& text, Gpu& gpu) {
  const auto& mask = gpu.ceMask();
  return mask && (*mask).*field != kUnavailable && writeHex(text, (*mask).*field, 2);
}

bool boardTemperature(std::string& text, Gpu&) {
  const auto value = attributes::boardTemperature();
  return value != kUnavailableBoardTemperature && writeNumber(text, value);
}

bool boardId(std::string& text, Gpu& gpu) {
  const auto id = known(gpu.boardId());
  if (id) join(text, Hexadecimal(*id));
  return id.has_value();
}

bool boardSn(std::string& text, Gpu&) {
  const auto serial = known(attributes::boardSn());
  return serial && writeHex(text, *serial, 14);
}

bool gpuSn(std::string& text, Gpu&) {
  const auto serial = known(attributes::gpuSn());
  return serial && writeHex(text, *serial, 8);
}

// Left out together with a mode that has no name.
bool hostVgpuMode(std::string& text, Gpu& gpu) {
  std::string mode;
  if (!writeVirtualizationMode(mode, gpu)) return false;
  if (!writeHostVgpuMode(text, gpu)) text += kUnavailableText;
  return true;
}

// The GPUs of a board all show the figure that was read first in this pass.
bool boardPowerDraw(std::string& text, Gpu& gpu) {
  return writeNumber(text, boardPower(gpu.boardId()));
}

bool eccMode(std::string& text, Gpu&) {
  const auto mode = attributes::eccMode();
  text += mode && mode->current != 0 ? "Enabled" : "Disabled";
  return true;
}

bool computeMode(std::string& text, Gpu&) {
  return writeComputeMode(text, attributes::computeMode().value_or(0));
}

bool performanceState(std::string& text, Gpu&) {
  join(text, "P", Decimal(attributes::performanceState().value_or(kUnknownPerformanceState)));
  return true;
}

bool neverAvailable(std::string&, Gpu&) { return false; }

using S = Section;
using F = RowForm;

constexpr std::array kRows = std::to_array<ReportRow>({
    {S::identity, F::line, 1, "Product Name", "product_name", "", gpuName},
    {S::identity, F::line, 1, "Serial Number", "serial", "", gpuSerial},
    {S::identity, F::line, 1, "GPU UUID", "uuid", "", gpuUuid},
    {S::identity, F::line, 1, "Minor Number", "minor_number", "", orZero<attributes::minorNumber>},
    {S::identity, F::line, 1, "MultiGPU Board", "multigpu_board", "", multiGpuBoard},
    {S::identity, F::hexLine, 1, "Board ID", "board_id", "", boardId},
    {S::identity, F::line, 1, "GPU Position", "gpu_position", "", gpuPosition},
    {S::identity, F::line, 1, "GPU Part Number", "gpu_part_number", "",
     wording<attributes::partNumber>},
    {S::identity, F::heading, 1, "GPU Virtualization Mode", "gpu_virtualization_mode"},
    {S::identity, F::optionalLine, 2, "Virtualization Mode", "virtualization_mode", "",
     writeVirtualizationMode},
    {S::identity, F::optionalLine, 2, "Host VGPU Mode", "host_vgpu_mode", "", hostVgpuMode},
    {S::identity, F::heading, 1, "PCI", "pci"},
    {S::identity, F::hexLine, 2, "Bus", "pci_bus", "", pciNumber<&nvmlPciInfo_t::bus, 2>},
    {S::identity, F::hexLine, 2, "Device", "pci_device", "", pciNumber<&nvmlPciInfo_t::device, 2>},
    {S::identity, F::hexLine, 2, "Domain", "pci_domain", "", pciNumber<&nvmlPciInfo_t::domain, 4>},
    {S::identity, F::hexLine, 2, "Device Id", "pci_device_id", "",
     pciNumber<&nvmlPciInfo_t::pciDeviceId, 8>},
    {S::identity, F::line, 2, "Bus Id", "pci_bus_id", "", busId},
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
     threshold<NVML_TEMPERATURE_THRESHOLD_SHUTDOWN>},
    {S::temperature, F::line, 2, "GPU Slowdown Temp", "gpu_temp_slow_threshold", " C",
     threshold<NVML_TEMPERATURE_THRESHOLD_SLOWDOWN>},
    {S::temperature, F::line, 2, "GPU Max Operating Temp", "gpu_temp_max_gpu_threshold", " C",
     threshold<NVML_TEMPERATURE_THRESHOLD_GPU_MAX>},

    {S::power, F::heading, 1, "Power Readings", "power_readings"},
    {S::power, F::line, 2, "GPU Power Draw", "gpu_power_draw", " W",
     number<attributes::powerUsage>},
    {S::power, F::line, 2, "GPU Power Limit", "gpu_power_limit", " W",
     number<attributes::powerManagementLimit>},
    {S::power, F::line, 2, "Board Power Draw", "board_power_draw", " W", boardPowerDraw},
    {S::power, F::line, 2, "Board Power Limit", "board_power_limit", " W",
     number<attributes::boardPowerLimit>},

    {S::clock, F::heading, 1, "Clocks", "clocks"},
    {S::clock, F::line, 2, "SM", "sm_clock", " MHz", currentClock<NVML_CLOCK_SM>},
    {S::clock, F::line, 2, "Memory", "mem_clock", " MHz", currentClock<NVML_CLOCK_MEM>},
    {S::clock, F::heading, 1, "Max Clocks", "max_clocks"},
    {S::clock, F::line, 2, "SM", "sm_clock", " MHz", maxClock<NVML_CLOCK_SM>},
    {S::clock, F::line, 2, "Memory", "mem_clock", " MHz", maxClock<NVML_CLOCK_MEM>},

    {S::compute, F::line, 1, "Compute Mode", "compute_mode", "", computeMode},
    {S::performance, F::line, 1, "Performance State", "performance_state", "", performanceState},

    // The XML report nests a list of pages, which nobody fills, beside each count.
    {S::pageRetirement, F::heading, 1, "Retired Pages", "retired_pages"},
    {S::pageRetirement, F::line, 2, "Single Bit ECC", "", "", kSingleBitPages},
    {S::pageRetirement, F::line, 2, "Double Bit ECC", "", "", kDoubleBitPages},
    {S::pageRetirement, F::heading, 2, "", "multiple_single_bit_retirement"},
    {S::pageRetirement, F::line, 3, "", "retired_count", "", kSingleBitPages},
    {S::pageRetirement, F::line, 3, "", "retired_pagelist", "", neverAvailable},
    {S::pageRetirement, F::heading, 2, "", "double_bit_retirement"},
    {S::pageRetirement, F::line, 3, "", "retired_count", "", kDoubleBitPages},
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
    {S::hardwareMonitor, F::line, 2, "Hardware Version", "", "",
     wording<attributes::hardwareVersion>},
    {S::hardwareMonitor, F::line, 2, "Firmware Version", "", "",
     wording<attributes::firmwareVersion>},
    {S::hardwareMonitor, F::line, 2, "VCC12 Voltage", "", "", voltage<attributes::vddVoltage>},
    {S::hardwareMonitor, F::line, 2, "GPU Voltage", "", "", voltage<attributes::gpuVoltage>},
    {S::hardwareMonitor, F::line, 2, "Memory Voltage", "", "", voltage<attributes::memoryVoltage>},
    {S::hardwareMonitor, F::hexLine, 2, "GPU SN", "", "", gpuSn},
    {S::hardwareMonitor, F::line, 2, "Board PN", "", "", wording<attributes::boardPn>},
    {S::hardwareMonitor, F::line, 2, "Board SN", "", "", boardSn},
    {S::hardwareMonitor, F::line, 2, "Board Temperature", "", " C", boardTemperature},
    {S::hardwareMonitor, F::line, 2, "Date of Manufacture", "", "",
     wording<attributes::manufactureDate>},
    {S::hardwareMonitor, F::hexLine, 2, "CE MASK", "", "", ceMask<&attributes::CeMask::mask>},
    {S::hardwareMonitor, F::hexLine, 2, "CE GOLDEN MASK", "", "",
     ceMask<&attributes::CeMask::supported>},
});

}  // namespace

std::span<const ReportRow> reportRows() { return kRows; }

std::string reportBusId(GpuAttributes& gpu) { return busIdText(pciOf(gpu)); }

}  // namespace zanctl
