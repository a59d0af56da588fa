#include "reports/text_report.h"

#include "device/readers.h"
#include "device/time.h"
#include "output/labelled_lines.h"
#include "output/text.h"

namespace zanctl {
namespace {

void writeProcesses(Output& output, const ReportRow& row) {
  std::string& text = output.text();
  const auto processes = reader().readRunningProcesses();
  if (processes.empty()) {
    writeLine(text, row.level, row.label, "None");
    return;
  }
  writeHeading(text, row.level, row.label);
  for (const nvmlProcessInfo_t& process : processes) {
    const ProcessEntry entry = describeProcess(process);
    if (entry.name.empty()) continue;
    writeLine(text, 2, "Process ID", Decimal(entry.pid));
    writeLine(text, 3, "Type", "C");
    writeLine(text, 3, "Name", entry.name);
    writeLine(text, 3, "Used GPU Memory", Decimal(entry.usedMemory >> 20U), " MiB");
    output.flushIfLong();
  }
}

LaidOutRow layOut(const ReportRow& row) {
  LaidOutRow laidOut{&row, {}, {}, {}};
  switch (row.form) {
    case RowForm::processes:
      break;
    case RowForm::heading:
      writeHeading(laidOut.before, row.level, row.label);
      break;
    case RowForm::paddedHeading:
      writePaddedHeading(laidOut.before, row.level, row.label);
      break;
    default:
      writeLine(laidOut.before, row.level, row.label, row.form == RowForm::hexLine ? "0x" : "");
      laidOut.before.pop_back();
      join(laidOut.after, row.unit, "\n");
      if (row.form != RowForm::optionalLine) {
        writeLine(laidOut.unavailable, row.level, row.label, kUnavailableText);
      }
  }
  return laidOut;
}

}  // namespace

void writeTextHead(std::string& text, const ReportHead& head) {
  text += "\n==============ZANCTL LOG==============\n";
  writeLine(text, 0, "Timestamp", calendarTime(head.time));
  writeLine(text, 0, "Driver Version", head.driverVersion);
  writeLine(text, 0, "CUDA Version", head.cudaVersion);
  text += "\n";
  writeLine(text, 0, "Attached GPU device count", Decimal(head.deviceCount));
}

std::vector<LaidOutRow> layOutText(SectionMask mask) {
  std::vector<LaidOutRow> rows;
  for (const ReportRow& row : reportRows()) {
    if (holds(mask, row.section) && !row.label.empty()) rows.push_back(layOut(row));
  }
  return rows;
}

void writeTextGpu(Output& output, std::span<const LaidOutRow> rows, GpuAttributes& gpu) {
  join(output.text(), "GPU ", reportBusId(gpu), "\n");
  writeRows(output, rows, gpu, writeProcesses);
  output.text() += "\n";
}

}  // namespace zanctl
