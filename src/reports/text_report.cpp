#include "reports/text_report.h"

#include "device/format.h"
#include "device/time.h"
#include "output/labelled_lines.h"
#include "reports/reading_text.h"

#include <fmt/compile.h>
#include <fmt/ostream.h>

#include <array>

namespace zanctl {
namespace {

std::string hexOrUnavailable(std::uint32_t value, int digits) {
  return value == kUnavailable ? kUnavailableText : prefixedHexText(value, digits);
}

void writeVirtualization(std::ostream& out, const DeviceInfo& info) {
  const auto text = virtualizationText(info.virtualizationMode, info.hostVgpuMode);
  writeHeading(out, 1, "GPU Virtualization Mode");
  if (text.mode.empty()) return;
  writeLine(out, 2, "Virtualization Mode", text.mode);
  writeLine(out, 2, "Host VGPU Mode", text.hostVgpuMode);
}

void writePci(std::ostream& out, const DeviceInfo& info) {
  writeHeading(out, 1, "PCI");
  writeLine(out, 2, "Bus", prefixedHexText(info.pci.bus, 2));
  writeLine(out, 2, "Device", prefixedHexText(info.pci.device, 2));
  writeLine(out, 2, "Domain", prefixedHexText(info.pci.domain, 4));
  writeLine(out, 2, "Device Id", prefixedHexText(info.pci.pciDeviceId, 8));
  writeLine(out, 2, "Bus Id", busIdText(info.pci));
  writeLine(out, 2, "Sub System Id", prefixedHexText(info.pci.pciSubSystemId, 8));
  writePaddedHeading(out, 2, "GPU Link Info");
  writePaddedHeading(out, 3, "PCIe Generation");
  writeLine(out, 4, "Max", numberText(info.pcieGenMax));
  writeLine(out, 4, "Current", numberText(info.pcieGenCurrent));
  writePaddedHeading(out, 3, "Link Width");
  writeLine(out, 4, "Max", numberText(info.pcieWidthMax, "x"));
  writeLine(out, 4, "Current", numberText(info.pcieWidthCurrent, "x"));
  writeLine(out, 2, "Tx Throughput", numberText(info.pcieTx, " KB/s"));
  writeLine(out, 2, "Rx Throughput", numberText(info.pcieRx, " KB/s"));
}

void writeIdentity(std::ostream& out, const DeviceInfo& info) {
  writeLine(out, 1, "Product Name", info.name);
  writeLine(out, 1, "Serial Number", info.serial);
  writeLine(out, 1, "GPU UUID", info.uuid);
  writeLine(out, 1, "Minor Number", fmt::to_string(info.minorNumber));
  writeLine(out, 1, "MultiGPU Board", info.multiGpuBoard);
  writeLine(out, 1, "Board ID",
            info.boardId == kUnavailable ? kUnavailableText : fmt::format("0x{:x}", info.boardId));
  writeLine(out, 1, "GPU Position", numberText(info.boardPosition));
  writeLine(out, 1, "GPU Part Number", info.partNumber);
  writeVirtualization(out, info);
  writePci(out, info);
  writeLine(out, 1, "Fan Speed", numberText(info.fanSpeed, " %"));
}

void writeMemory(std::ostream& out, const GpuReport& report) {
  writeHeading(out, 1, "Memory Usage");
  writeLine(out, 2, "Total", mebibytesText(report.memory.total));
  writeLine(out, 2, "Used", mebibytesText(report.memory.used));
  writeLine(out, 2, "Free", mebibytesText(report.memory.free));
}

void writeUtilization(std::ostream& out, const GpuReport& report) {
  writeHeading(out, 1, "Utilization");
  writeLine(out, 2, "Gpu", fmt::format(FMT_COMPILE("{} %"), report.utilization.gpu));
  writeLine(out, 2, "Memory", fmt::format(FMT_COMPILE("{} %"), report.utilization.memory));
  writeLine(out, 2, "Encoder", fmt::format(FMT_COMPILE("{} %"), report.utilization.encoder));
  writeLine(out, 2, "Decoder", fmt::format(FMT_COMPILE("{} %"), report.utilization.decoder));
}

void writeEcc(std::ostream& out, const GpuReport& report) {
  writeHeading(out, 1, "Ecc Mode");
  writeLine(out, 2, "Current", report.eccMode.current != 0 ? "Enabled" : "Disabled");
  writeLine(out, 2, "Pending", kUnavailableText);
}

void writeTemperature(std::ostream& out, const GpuReport& report) {
  writeHeading(out, 1, "Temperature");
  writeLine(out, 2, "GPU Current Temp", numberText(report.temperature.current, " C"));
  writeLine(out, 2, "GPU Shutdown Temp", numberText(report.temperature.shutdown, " C"));
  writeLine(out, 2, "GPU Slowdown Temp", numberText(report.temperature.slowdown, " C"));
  writeLine(out, 2, "GPU Max Operating Temp", numberText(report.temperature.maxOperating, " C"));
}

void writePower(std::ostream& out, const GpuReport& report) {
  writeHeading(out, 1, "Power Readings");
  writeLine(out, 2, "GPU Power Draw", numberText(report.power.usage, " W"));
  writeLine(out, 2, "GPU Power Limit", numberText(report.power.managementLimit, " W"));
  writeLine(out, 2, "Board Power Draw", numberText(report.power.boardUsage, " W"));
  writeLine(out, 2, "Board Power Limit", numberText(report.power.boardLimit, " W"));
}

void writeClocks(std::ostream& out, const GpuReport& report) {
  writeHeading(out, 1, "Clocks");
  writeLine(out, 2, "SM", fmt::format(FMT_COMPILE("{} MHz"), report.clocks.sm));
  writeLine(out, 2, "Memory", fmt::format(FMT_COMPILE("{} MHz"), report.clocks.memory));
  writeHeading(out, 1, "Max Clocks");
  writeLine(out, 2, "SM", numberText(report.clocks.maxSm, " MHz"));
  writeLine(out, 2, "Memory", numberText(report.clocks.maxMemory, " MHz"));
}

void writeComputeMode(std::ostream& out, const GpuReport& report) {
  writeLine(out, 1, "Compute Mode", computeModeName(report.computeMode));
}

void writePerformance(std::ostream& out, const GpuReport& report) {
  writeLine(out, 1, "Performance State", fmt::format(FMT_COMPILE("P{}"), report.performanceState));
}

void writeRetiredPages(std::ostream& out, const GpuReport& report) {
  writeHeading(out, 1, "Retired Pages");
  writeLine(out, 2, "Single Bit ECC", numberText(report.retiredPages.singleBit));
  writeLine(out, 2, "Double Bit ECC", numberText(report.retiredPages.doubleBit));
}

void writeProcesses(std::ostream& out, const GpuReport& report) {
  if (report.processes.none) {
    writeLine(out, 1, "Processes", "None");
    return;
  }
  writeHeading(out, 1, "Processes");
  for (const ProcessEntry& process : report.processes.listed) {
    writeLine(out, 2, "Process ID", fmt::to_string(process.pid));
    writeLine(out, 3, "Type", "C");
    writeLine(out, 3, "Name", process.name);
    writeLine(out, 3, "Used GPU Memory", fmt::format("{} MiB", process.usedMemoryMiB));
  }
}

std::string voltageText(const VoltageReading& voltage) {
  if (voltage.integerPart == kUnavailable || voltage.fractionPart == kUnavailable) {
    return kUnavailableText;
  }
  return fmt::format("{}.{}", voltage.integerPart, voltage.fractionPart);
}

void writeHardwareMonitor(std::ostream& out, const GpuReport& report) {
  const BoardInfo& board = report.board;
  writeHeading(out, 1, "Hardware Monitor");
  writeLine(out, 2, "Device ID", prefixedHexText(board.pci.pciDeviceId >> 16U, 4));
  writeLine(out, 2, "Vendor ID", prefixedHexText(board.pci.pciDeviceId & 0xFFFFU, 4));
  writeLine(out, 2, "Sub Device ID", prefixedHexText(board.pci.pciSubSystemId >> 16U, 4));
  writeLine(out, 2, "Sub Vendor ID", prefixedHexText(board.pci.pciSubSystemId & 0xFFFFU, 4));
  writeLine(out, 2, "Hardware Version", board.hardwareVersion);
  writeLine(out, 2, "Firmware Version", board.firmwareVersion);
  writeLine(out, 2, "VCC12 Voltage", voltageText(board.vddVoltage));
  writeLine(out, 2, "GPU Voltage", voltageText(board.gpuVoltage));
  writeLine(out, 2, "Memory Voltage", voltageText(board.memVoltage));
  writeLine(out, 2, "GPU SN", hexOrUnavailable(board.gpuSn, 8));
  writeLine(out, 2, "Board PN", board.boardPn);
  writeLine(
      out, 2, "Board SN",
      board.boardSn == kUnavailable64 ? kUnavailableText : fmt::format("{:014X}", board.boardSn));
  writeLine(out, 2, "Board Temperature",
            board.boardTemperature == kUnavailableBoardTemperature
                ? kUnavailableText
                : fmt::format("{} C", board.boardTemperature));
  writeLine(out, 2, "Date of Manufacture", board.manufactureDate);
  writeLine(out, 2, "CE MASK", hexOrUnavailable(board.ceMask, 2));
  writeLine(out, 2, "CE GOLDEN MASK", hexOrUnavailable(board.ceMaskDefault, 2));
}

using SectionPrinter = void (*)(std::ostream&, const GpuReport&);

// By bit number.
constexpr std::array<SectionPrinter, 11> kPrinters = {
    writeMemory,         writeUtilization, writeEcc,         writeTemperature,  writePower,
    writeClocks,         writeComputeMode, writePerformance, writeRetiredPages, writeProcesses,
    writeHardwareMonitor};

}  // namespace

void writeTextHead(std::ostream& out, const ReportHead& head) {
  out << "\n==============ZANCTL LOG==============\n";
  writeLine(out, 0, "Timestamp", calendarTime(head.time));
  writeLine(out, 0, "Driver Version", head.driverVersion);
  writeLine(out, 0, "CUDA Version", head.cudaVersion);
  out << "\n";
  writeLine(out, 0, "Attached GPU device count", fmt::to_string(head.deviceCount));
}

void writeTextGpu(std::ostream& out, const GpuReport& report, SectionMask mask) {
  fmt::print(out, "GPU {}\n", busIdText(report.info.pci));
  if (isFull(mask)) writeIdentity(out, report.info);
  for (std::size_t bit = 0; bit < kPrinters.size(); ++bit) {
    if (holds(mask, static_cast<Section>(bit))) kPrinters[bit](out, report);
  }
  out << "\n" << std::flush;
}

}  // namespace zanctl
