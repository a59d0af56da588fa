// The CSV query of GPU properties: one line a GPU.
#pragma once

#include "cli/selection.h"
#include "reports/csv_query.h"
#include "reports/gpu_attributes.h"

#include <iosfwd>

namespace zanctl {

// Every property that can be asked for, in the order of the help.
CsvTable<GpuAttributes> gpuProperties();

// 0, or -1 after saying what was refused or lost.
int runPropertyQuery(const CsvRequest& request, const DeviceSet& selection);

void printPropertyQueryHelp(std::ostream& out);

}  // namespace zanctl
