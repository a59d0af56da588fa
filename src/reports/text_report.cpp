#include "reports/text_report.h"

#include "device/readers.h"
#include "device/time.h"
#include "output/labelled_lines.h"
#include "output/text.h"
#include "reports/reading_text.h"

namespace zanctl {
namespace {

void writeProcesses(std::string& text, const ReportRow& row) {
  const auto processes = reader().readRunningProcesses();
  if (processes.empty()) {
    writeLine(text, row.level, row.label, "None");
    return;
  }
  writeHeading(text, row.level, row.label);
  for (const nvmlProcessInfo_t& process : processes) {
    const ProcessEntry entry = describeProcess(process);
    if (entry.name.empty()) continue;
    writeLine(text, 2, "Process ID", fmt::to_string(entry.pid));
    writeLine(text, 3, "Type", "C");
    writeLine(text, 3, "Name", entry.name);
    writeLine(text, 3, "Used GPU Memory", mebibytes(entry.usedMemory), " MiB");
  }
}

void writeValue(std::string& text, const ReportRow& row, GpuAttributes& gpu) {
  const auto value = row.value(gpu);
  if (!value) {
    if (row.form != RowForm::optionalLine) {
      writeLine(text, row.level, row.label, kUnavailableText);
    }
  } else if (row.form == RowForm::hexLine) {
    writeLine(text, row.level, row.label, "0x" + *value, row.unit);
  } else {
    writeLine(text, row.level, row.label, *value, row.unit);
  }
}

void writeRow(std::string& text, const ReportRow& row, GpuAttributes& gpu) {
  switch (row.form) {
    case RowForm::heading:
      return writeHeading(text, row.level, row.label);
    case RowForm::paddedHeading:
      return writePaddedHeading(text, row.level, row.label);
    case RowForm::processes:
      return writeProcesses(text, row);
    default:
      return writeValue(text, row, gpu);
  }
}

}  // namespace

void writeTextHead(std::string& text, const ReportHead& head) {
  text += "\n==============ZANCTL LOG==============\n";
  writeLine(text, 0, "Timestamp", calendarTime(head.time));
  writeLine(text, 0, "Driver Version", head.driverVersion);
  writeLine(text, 0, "CUDA Version", head.cudaVersion);
  text += "\n";
  writeLine(text, 0, "Attached GPU device count", fmt::to_string(head.deviceCount));
}

void writeTextGpu(std::string& text, SectionMask mask, GpuAttributes& gpu) {
  join(text, "GPU ", reportBusId(gpu), "\n");
  for (const ReportRow& row : reportRows()) {
    if (holds(mask, row.section) && !row.label.empty()) writeRow(text, row, gpu);
  }
  text += "\n";
}

}  // namespace zanctl
