#include "reports/xml_report.h"

#include "device/readers.h"
#include "device/time.h"
#include "output/text.h"
#include "reports/dtd.h"
#include "reports/reading_text.h"

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

void writeProcesses(std::string& text, const ReportRow& row) {
  openElement(text, row.level, row.element);
  for (const nvmlProcessInfo_t& process : reader().readRunningProcesses()) {
    const ProcessEntry entry = describeProcess(process);
    if (entry.name.empty()) continue;
    openElement(text, 2, "process_info");
    writeElement(text, 3, "gpu_instance_id", kUnavailableText);
    writeElement(text, 3, "compute_instance_id", kUnavailableText);
    writeElement(text, 3, "pid", fmt::to_string(entry.pid));
    writeElement(text, 3, "type", "C");
    writeElement(text, 3, "process_name", entry.name);
    writeElement(text, 3, "used_memory", mebibytes(entry.usedMemory), " MiB");
    closeElement(text, 2, "process_info");
  }
  closeElement(text, row.level, row.element);
}

void writeRow(std::string& text, const ReportRow& row, GpuAttributes& gpu) {
  switch (row.form) {
    case RowForm::heading:
    case RowForm::paddedHeading:
      return openElement(text, row.level, row.element);
    case RowForm::processes:
      return writeProcesses(text, row);
    default:
      break;
  }
  const auto value = row.value(gpu);
  if (value) {
    writeElement(text, row.level, row.element, *value, row.unit);
  } else if (row.form != RowForm::optionalLine) {
    writeElement(text, row.level, row.element, kUnavailableText);
  }
}

// The headings whose rows are being written.
class OpenElements {
 public:
  void closeFrom(std::string& text, int level) {
    for (; !rows_.empty() && rows_.back()->level >= level; rows_.pop_back()) {
      closeElement(text, rows_.back()->level, rows_.back()->element);
    }
  }
  void push(const ReportRow& row) { rows_.push_back(&row); }

 private:
  std::vector<const ReportRow*> rows_;
};

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
  writeElement(text, 0, "attached_gpus", fmt::to_string(head.deviceCount));
}

void writeXmlGpu(std::string& text, GpuAttributes& gpu) {
  join(text, "\t<gpu id=\"", reportBusId(gpu), "\">\n");
  OpenElements open;
  for (const ReportRow& row : reportRows()) {
    if (!holds(kFullReport, row.section) || row.element.empty()) continue;
    open.closeFrom(text, row.level);
    writeRow(text, row, gpu);
    if (row.form == RowForm::heading || row.form == RowForm::paddedHeading) open.push(row);
  }
  open.closeFrom(text, 0);
  text += "\t</gpu>\n";
}

void writeXmlEnd(std::string& text) { text += "</zanctl_log>\n"; }

}  // namespace zanctl
