// The detailed report as labelled text.
#pragma once

#include "reports/gpu_report.h"

#include <string>

namespace zanctl {

void writeTextHead(std::string& text, const ReportHead& head);

// The sections of the mask of the current GPU, its identity first in a full report.
void writeTextGpu(std::string& text, SectionMask mask, GpuAttributes& gpu);

}  // namespace zanctl
