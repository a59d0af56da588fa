#include "reports/compute_query.h"

#include "device/format.h"
#include "device/process.h"
#include "device/readers.h"
#include "device/time.h"
#include "reports/reading_text.h"

#include <fmt/format.h>

#include <array>

namespace zanctl {
namespace {

using Text = std::optional<std::string>;

constexpr std::array kProperties = std::to_array<CsvProperty<ComputeApp>>({
    {"timestamp", "", "", "Local time of the reading, in the form YYYY/MM/DD HH:MM:SS.",
     [](ComputeApp& app) { return Text(dateTimeStamp(app.gpu.time())); }},
    {"gpu_name", "", "", "Product name of the GPU.",
     [](ComputeApp& app) { return app.gpu.name(); }},
    {"gpu_bus_id", "", "", "PCI bus id, as domain:bus:device.function in hexadecimal.",
     [](ComputeApp& app) {
       return app.gpu.pci() ? Text(busIdText(*app.gpu.pci())) : std::nullopt;
     }},
    {"gpu_serial", "", "", "Serial number printed on the board.",
     [](ComputeApp& app) { return app.gpu.serial(); }},
    {"gpu_uuid", "", "", "Identifier of the GPU that is unique in the world.",
     [](ComputeApp& app) { return app.gpu.uuid(); }},
    {"pid", "", "", "Id of the process.",
     [](ComputeApp& app) { return Text(fmt::to_string(app.process.pid)); }},
    {"process_name", "name", "", "Command line of the process, or vgpu for one of a virtual GPU.",
     [](ComputeApp& app) { return Text(processName(app.process.pid)); }},
    {"used_gpu_memory", "used_memory", "MiB", "Memory of the GPU that the process uses, in MiB.",
     [](ComputeApp& app) { return Text(mebibytes(app.process.usedGpuMemory)); }},
});

}  // namespace

CsvTable<ComputeApp> computeAppProperties() { return kProperties; }

int runComputeQuery(const CsvOptions& options, std::ostream& out) {
  const auto rowsOfGpu = [](const auto& write) {
    GpuAttributes gpu(currentTime().tv_sec);
    for (const nvmlProcessInfo_t& process : reader().readComputeProcesses()) {
      ComputeApp app{gpu, process};
      write(app);
    }
  };
  return runCsvQuery(options, computeAppProperties(), rowsOfGpu, out);
}

int printComputeQueryHelp(std::ostream& out) {
  return printPropertyHelp(computeAppProperties(), out);
}

}  // namespace zanctl
