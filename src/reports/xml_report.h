// The detailed report as an XML document, written in pieces: head, GPUs, end. Text goes in as it
// comes, markup characters included.
#pragma once

#include "reports/gpu_report.h"

#include <iosfwd>

namespace zanctl {

enum class Dtd { external, embedded };

void writeXmlHead(std::ostream& out, const ReportHead& head, Dtd dtd);

// One GPU, from a full report; flushed.
void writeXmlGpu(std::ostream& out, const GpuReport& report);

void writeXmlEnd(std::ostream& out);

}  // namespace zanctl
