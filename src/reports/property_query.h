// The CSV query of GPU properties: one line a GPU.
#pragma once

#include "reports/csv_query.h"
#include "reports/gpu_attributes.h"

#include <iosfwd>

namespace zanctl {

// Every property that can be asked for, in the order of the help.
CsvTable<GpuAttributes> gpuProperties();

// 0, or -1 after saying what was refused or lost.
int runPropertyQuery(const CsvOptions& options, std::ostream& out);

// 0.
int printPropertyQueryHelp(std::ostream& out);

}  // namespace zanctl
