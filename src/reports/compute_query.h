// The CSV query of compute applications: one line a process.
#pragma once

#include "reports/csv_query.h"
#include "reports/gpu_attributes.h"

#include <iosfwd>

namespace zanctl {

// One process on the current GPU.
struct ComputeApp {
  GpuAttributes& gpu;
  nvmlProcessInfo_t process;
};

// Every property that can be asked for, in the order of the help.
CsvTable<ComputeApp> computeAppProperties();

// 0, or -1 after saying what was refused or lost.
int runComputeQuery(const CsvOptions& options, std::ostream& out);

// 0.
int printComputeQueryHelp(std::ostream& out);

}  // namespace zanctl
