#include "reports/xml_report.h"

#include "device/format.h"
#include "device/time.h"
#include "output/joined.h"
#include "reports/dtd.h"
#include "reports/reading_text.h"

#include <fmt/compile.h>
#include <fmt/ostream.h>

#include <string_view>

namespace zanctl {
namespace {

// One tab a nesting level; the root's children have one.
class XmlWriter {
 public:
  explicit XmlWriter(std::ostream& out) : out_(out) {}

  void text(std::string_view name, std::string_view value) {
    writeJoined(out_, indentation(), "<", name, ">", value, "</", name, ">\n");
  }

  // The element's children are those that `writeChildren` writes.
  template <typename WriteChildren>
  void parent(std::string_view name, const WriteChildren& writeChildren,
              std::string_view attributes = "") {
    writeJoined(out_, indentation(), "<", name, attributes, ">\n");
    ++depth_;
    writeChildren();
    --depth_;
    writeJoined(out_, indentation(), "</", name, ">\n");
  }

 private:
  [[nodiscard]] std::string_view indentation() const {
    return std::string_view("\t\t\t\t\t\t\t\t").substr(0, depth_);
  }

  std::ostream& out_;
  std::size_t depth_ = 1;
};

void writeIdentity(XmlWriter& xml, const DeviceInfo& info) {
  xml.text("product_name", info.name);
  xml.text("serial", info.serial);
  xml.text("uuid", info.uuid);
  xml.text("minor_number", fmt::to_string(info.minorNumber));
  xml.text("multigpu_board", info.multiGpuBoard);
  xml.text("board_id",
           info.boardId == kUnavailable ? kUnavailableText : fmt::format("{:x}", info.boardId));
  xml.text("gpu_position", numberText(info.boardPosition));
  xml.text("gpu_part_number", info.partNumber);
  xml.parent("gpu_virtualization_mode", [&] {
    const auto text = virtualizationText(info.virtualizationMode, info.hostVgpuMode);
    if (text.mode.empty()) return;
    xml.text("virtualization_mode", text.mode);
    xml.text("host_vgpu_mode", text.hostVgpuMode);
  });
}

void writePci(XmlWriter& xml, const DeviceInfo& info) {
  xml.text("pci_bus", hexText(info.pci.bus, 2));
  xml.text("pci_device", hexText(info.pci.device, 2));
  xml.text("pci_domain", hexText(info.pci.domain, 4));
  xml.text("pci_device_id", hexText(info.pci.pciDeviceId, 8));
  xml.text("pci_bus_id", busIdText(info.pci));
  xml.text("pci_sub_system_id", hexText(info.pci.pciSubSystemId, 8));
  xml.parent("pci_gpu_link_info", [&] {
    xml.parent("pcie_gen", [&] {
      xml.text("max_link_gen", numberText(info.pcieGenMax));
      xml.text("current_link_gen", numberText(info.pcieGenCurrent));
    });
    xml.parent("link_widths", [&] {
      xml.text("max_link_width", numberText(info.pcieWidthMax, "x"));
      xml.text("current_link_width", numberText(info.pcieWidthCurrent, "x"));
    });
  });
  xml.text("tx_util", numberText(info.pcieTx, " KB/s"));
  xml.text("rx_util", numberText(info.pcieRx, " KB/s"));
}

void writeLoad(XmlWriter& xml, const GpuReport& report) {
  xml.parent("memory_usage", [&] {
    xml.text("total", mebibytesText(report.memory.total));
    xml.text("used", mebibytesText(report.memory.used));
    xml.text("free", mebibytesText(report.memory.free));
  });
  xml.parent("utilization", [&] {
    xml.text("gpu_util", fmt::format(FMT_COMPILE("{} %"), report.utilization.gpu));
    xml.text("memory_util", fmt::format(FMT_COMPILE("{} %"), report.utilization.memory));
    xml.text("encoder_util", fmt::format(FMT_COMPILE("{} %"), report.utilization.encoder));
    xml.text("decoder_util", fmt::format(FMT_COMPILE("{} %"), report.utilization.decoder));
  });
  xml.parent("ecc_mode", [&] {
    xml.text("current_ecc", report.eccMode.current != 0 ? "Enabled" : "Disabled");
    xml.text("pending_ecc", kUnavailableText);
  });
}

void writePhysics(XmlWriter& xml, const GpuReport& report) {
  xml.parent("temperature", [&] {
    xml.text("gpu_temp", numberText(report.temperature.current, " C"));
    xml.text("gpu_temp_max_threshold", numberText(report.temperature.shutdown, " C"));
    xml.text("gpu_temp_slow_threshold", numberText(report.temperature.slowdown, " C"));
    xml.text("gpu_temp_max_gpu_threshold", numberText(report.temperature.maxOperating, " C"));
  });
  xml.parent("power_readings", [&] {
    xml.text("gpu_power_draw", numberText(report.power.usage, " W"));
    xml.text("gpu_power_limit", numberText(report.power.managementLimit, " W"));
    xml.text("board_power_draw", numberText(report.power.boardUsage, " W"));
    xml.text("board_power_limit", numberText(report.power.boardLimit, " W"));
  });
  xml.parent("clocks", [&] {
    xml.text("sm_clock", fmt::format(FMT_COMPILE("{} MHz"), report.clocks.sm));
    xml.text("mem_clock", fmt::format(FMT_COMPILE("{} MHz"), report.clocks.memory));
  });
  xml.parent("max_clocks", [&] {
    xml.text("sm_clock", numberText(report.clocks.maxSm, " MHz"));
    xml.text("mem_clock", numberText(report.clocks.maxMemory, " MHz"));
  });
}

void writeState(XmlWriter& xml, const GpuReport& report) {
  xml.text("compute_mode", computeModeName(report.computeMode));
  xml.text("performance_state", fmt::format(FMT_COMPILE("P{}"), report.performanceState));
  const auto writeRetired = [&](std::string_view name, std::uint64_t count) {
    xml.parent(name, [&] {
      xml.text("retired_count", numberText(count));
      xml.text("retired_pagelist", kUnavailableText);
    });
  };
  xml.parent("retired_pages", [&] {
    writeRetired("multiple_single_bit_retirement", report.retiredPages.singleBit);
    writeRetired("double_bit_retirement", report.retiredPages.doubleBit);
  });
}

void writeProcess(XmlWriter& xml, const ProcessEntry& process) {
  xml.parent("process_info", [&] {
    xml.text("gpu_instance_id", kUnavailableText);
    xml.text("compute_instance_id", kUnavailableText);
    xml.text("pid", fmt::to_string(process.pid));
    xml.text("type", "C");
    xml.text("process_name", process.name);
    xml.text("used_memory", fmt::format("{} MiB", process.usedMemoryMiB));
  });
}

}  // namespace

void writeXmlHead(std::ostream& out, const ReportHead& head, Dtd dtd) {
  out << "<?xml version=\"1.0\" ?>\n";
  if (dtd == Dtd::embedded) {
    fmt::print(out, "<!DOCTYPE zanctl_log [\n{}\n]>\n", kDtd);
  } else {
    out << "<!DOCTYPE zanctl_log SYSTEM \"zanctl_device.dtd\">\n";
  }
  out << "<zanctl_log>\n";
  XmlWriter xml(out);
  xml.text("timestamp", calendarTime(head.time));
  xml.text("driver_version", head.driverVersion);
  xml.text("cuda_version", head.cudaVersion);
  xml.text("attached_gpus", fmt::to_string(head.deviceCount));
}

void writeXmlGpu(std::ostream& out, const GpuReport& report) {
  XmlWriter xml(out);
  const auto writeChildren = [&] {
    writeIdentity(xml, report.info);
    xml.parent("pci", [&] { writePci(xml, report.info); });
    xml.text("fan_speed", numberText(report.info.fanSpeed, " %"));
    writeLoad(xml, report);
    writePhysics(xml, report);
    writeState(xml, report);
    xml.parent("processes", [&] {
      for (const ProcessEntry& process : report.processes.listed) writeProcess(xml, process);
    });
  };
  xml.parent("gpu", writeChildren, fmt::format(" id=\"{}\"", busIdText(report.info.pci)));
  out.flush();
}

void writeXmlEnd(std::ostream& out) { out << "</zanctl_log>\n" << std::flush; }

}  // namespace zanctl
