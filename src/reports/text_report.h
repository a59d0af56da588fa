// The detailed report as labelled text.
#pragma once

#include "reports/gpu_report.h"

#include <iosfwd>

namespace zanctl {

void writeTextHead(std::ostream& out, const ReportHead& head);

// The GPU's identity, in a full report, and the sections of the mask; flushed.
void writeTextGpu(std::ostream& out, const GpuReport& report, SectionMask mask);

}  // namespace zanctl
