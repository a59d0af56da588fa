// What the detailed report says of a GPU: one table of rows, which the text and the XML report walk
// alike.
#pragma once

#include "device/records.h"
#include "output/log_file.h"
#include "reports/gpu_attributes.h"

#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl {

// What stands above the GPUs of a report.
struct ReportHead {
  std::time_t time;
  std::string driverVersion;
  std::string cudaVersion;
  std::uint32_t deviceCount;
};

// The sections by bit number, in the order of the report.
enum class Section : unsigned {
  memory,
  utilization,
  ecc,
  temperature,
  power,
  clock,
  compute,
  performance,
  pageRetirement,
  pids,
  hardwareMonitor,  // not part of a full report
  identity,         // part of a full report alone
};

using SectionMask = unsigned;

constexpr SectionMask maskOf(Section section) { return 1U << static_cast<unsigned>(section); }

inline constexpr SectionMask kFullReport = maskOf(Section::hardwareMonitor) - 1;

// Whether a report of these sections shows this one.
constexpr bool holds(SectionMask mask, Section section) {
  return section == Section::identity ? (mask & kFullReport) == kFullReport
                                      : (mask & maskOf(section)) != 0;
}

enum class RowForm {
  line,
  hexLine,        // the text report puts "0x" before the value
  optionalLine,   // left out where there is no value
  heading,        // the rows of higher levels behind it belong to it
  paddedHeading,  // the same, padded as if a value followed
  processes,      // the GPU's processes, which each report lays out in its own way
};

struct ReportRow {
  Section section;
  RowForm form;
  int level;                 // of nesting, from 1
  std::string_view label;    // of the text report; empty: not in it
  std::string_view element;  // of the XML report; empty: not in it
  std::string_view unit = {};
  // Appends the reading of the current GPU; false when it is unavailable. Null for headings.
  bool (*write)(std::string& text, GpuAttributes& gpu) = nullptr;
};

std::span<const ReportRow> reportRows();

// The current GPU's bus id; zeros when unavailable.
std::string reportBusId(GpuAttributes& gpu);

// A row as one of the reports shows it: what stands before and behind the value of a GPU, and what
// stands in place of all this without a value. Headings, and what closes them, are before alone.
struct LaidOutRow {
  const ReportRow* row;
  std::string before;
  std::string after;
  std::string unavailable;
};

// Writes the rows with the readings of the current GPU; `writeProcesses(output, row)` those of its
// processes.
template <typename WriteProcesses>
void writeRows(Output& output, std::span<const LaidOutRow> rows, GpuAttributes& gpu,
               const WriteProcesses& writeProcesses) {
  std::string& text = output.text();
  for (const LaidOutRow& laidOut : rows) {
    const ReportRow& row = *laidOut.row;
    text += laidOut.before;
    if (row.form == RowForm::processes) {
      writeProcesses(output, row);
    } else if (laidOut.after.empty()) {
      continue;
    } else if (row.write(text, gpu)) {
      text += laidOut.after;
    } else {
      text.resize(text.size() - laidOut.before.size());
      text += laidOut.unavailable;
    }
  }
}

}  // namespace zanctl
