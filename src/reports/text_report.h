// The detailed report as labelled text.
#pragma once

#include "reports/gpu_report.h"

#include <span>
#include <string>
#include <vector>

namespace zanctl {

void writeTextHead(std::string& text, const ReportHead& head);

// The rows of the sections that the mask names.
std::vector<LaidOutRow> layOutText(SectionMask mask);

// The current GPU's block.
void writeTextGpu(Output& output, std::span<const LaidOutRow> rows, GpuAttributes& gpu);

}  // namespace zanctl
