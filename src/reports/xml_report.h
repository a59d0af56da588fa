// The detailed report as an XML document, written in pieces: head, GPUs, end. Text goes in as it
// comes, markup characters included.
#pragma once

#include "reports/gpu_report.h"

#include <string>

namespace zanctl {

enum class Dtd { external, embedded };

void writeXmlHead(std::string& text, const ReportHead& head, Dtd dtd);

// Everything of the current GPU that a full report shows.
void writeXmlGpu(std::string& text, GpuAttributes& gpu);

void writeXmlEnd(std::string& text);

}  // namespace zanctl
