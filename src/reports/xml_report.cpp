#include "reports/xml_report.h"

#include "device/readers.h"
#include "device/time.h"
#include "output/text.h"
#include "reports/dtd.h"

namespace zanctl {
namespace {

// A child of the root stands at level 0, behind one tab.
std::string_view indentation(int level) {
  return std::string_view("\t\t\t\t\t\t\t\t").substr(0, static_cast<std::size_t>(level) + 1);
}

void writeElement(std::string& text, int level, std::string_view name, std::string_view value,
                  std::string_view unit = "") {
  join(text, indentation(level), "<", name, ">", value, unit, "</", name, ">\n");
}

void openElement(std::string& text, int level, std::string_view name) {
  join(text, indentation(level), "<", name, ">\n");
}

void closeElement(std::string& text, int level, std::string_view name) {
  join(text, indentation(level), "</", name, ">\n");
}

void writeProcesses(Output& output, const ReportRow& row) {
  std::string& text = output.text();
  openElement(text, row.level, row.element);
  for (const nvmlProcessInfo_t& process : reader().readRunningProcesses()) {
    const ProcessEntry entry = describeProcess(process);
    if (entry.name.empty()) continue;
    openElement(text, 2, "process_info");
    writeElement(text, 3, "gpu_instance_id", kUnavailableText);
    writeElement(text, 3, "compute_instance_id", kUnavailableText);
    writeElement(text, 3, "pid", Decimal(entry.pid));
    writeElement(text, 3, "type", "C");
    writeElement(text, 3, "process_name", entry.name);
    writeElement(text, 3, "used_memory", Decimal(entry.usedMemory >> 20U), " MiB");
    closeElement(text, 2, "process_info");
    output.flushIfLong();
  }
  closeElement(text, row.level, row.element);
}

LaidOutRow layOut(const ReportRow& row) {
  LaidOutRow laidOut{&row, {}, {}, {}};
  switch (row.form) {
    case RowForm::processes:
      break;
    case RowForm::heading:
    case RowForm::paddedHeading:
      openElement(laidOut.before, row.level, row.element);
      break;
    default:
      join(laidOut.before, indentation(row.level), "<", row.element, ">");
      join(laidOut.after, row.unit, "</", row.element, ">\n");
      if (row.form != RowForm::optionalLine) {
        writeElement(laidOut.unavailable, row.level, row.element, kUnavailableText);
      }
  }
  return laidOut;
}

}  // namespace

void writeXmlHead(std::string& text, const ReportHead& head, Dtd dtd) {
  text += "<?xml version=\"1.0\" ?>\n";
  if (dtd == Dtd::embedded) {
    join(text, "<!DOCTYPE zanctl_log [\n", kDtd, "\n]>\n");
  } else {
    text += "<!DOCTYPE zanctl_log SYSTEM \"zanctl_device.dtd\">\n";
  }
  text += "<zanctl_log>\n";
  writeElement(text, 0, "timestamp", calendarTime(head.time));
  writeElement(text, 0, "driver_version", head.driverVersion);
  writeElement(text, 0, "cuda_version", head.cudaVersion);
  writeElement(text, 0, "attached_gpus", Decimal(head.deviceCount));
}

std::vector<LaidOutRow> layOutXml() {
  std::vector<LaidOutRow> rows;
  std::vector<const ReportRow*> open;
  const auto closeFrom = [&rows, &open](int level) {
    for (; !open.empty() && open.back()->level >= level; open.pop_back()) {
      rows.push_back({open.back(), {}, {}, {}});
      closeElement(rows.back().before, open.back()->level, open.back()->element);
    }
  };
  for (const ReportRow& row : reportRows()) {
    if (!holds(kFullReport, row.section) || row.element.empty()) continue;
    closeFrom(row.level);
    rows.push_back(layOut(row));
    if (row.write == nullptr && row.form != RowForm::processes) open.push_back(&row);
  }
  closeFrom(0);
  return rows;
}

void writeXmlGpu(Output& output, std::span<const LaidOutRow> rows, GpuAttributes& gpu) {
  join(output.text(), "\t<gpu id=\"", reportBusId(gpu), "\">\n");
  writeRows(output, rows, gpu, writeProcesses);
  output.text() += "\t</gpu>\n";
}

void writeXmlEnd(std::string& text) { text += "</zanctl_log>\n"; }

}  // namespace zanctl
