// The detailed report as an XML document, written in pieces: head, GPUs, end. Text goes in as it
// comes, markup characters included.
#pragma once

#include "reports/gpu_report.h"

#include <span>
#include <string>
#include <vector>

namespace zanctl {

enum class Dtd { external, embedded };

void writeXmlHead(std::string& text, const ReportHead& head, Dtd dtd);

// The rows of a full report.
std::vector<LaidOutRow> layOutXml();

// The current GPU's element.
void writeXmlGpu(Output& output, std::span<const LaidOutRow> rows, GpuAttributes& gpu);

void writeXmlEnd(std::string& text);

}  // namespace zanctl
