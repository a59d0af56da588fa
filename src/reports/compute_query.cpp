#include "reports/compute_query.h"

#include "device/format.h"
#include "device/process.h"
#include "device/readers.h"
#include "device/time.h"
#include "reports/reading_text.h"

#include <array>

namespace zanctl {
namespace {

// What the line shows of the GPU, as the rows of single GPUs write it.
template <bool (*write)(std::string&, GpuAttributes&)>
bool ofGpu(std::string& text, ComputeApp& app) {
  return write(text, app.gpu);
}

bool pid(std::string& text, ComputeApp& app) {
  join(text, Decimal(app.process.pid));
  return true;
}

bool name(std::string& text, ComputeApp& app) {
  text += processName(app.process.pid);
  return true;
}

bool usedMemory(std::string& text, ComputeApp& app) {
  return writeMebibytes(text, app.process.usedGpuMemory);
}

constexpr std::array kProperties = std::to_array<CsvProperty<ComputeApp>>({
    {"timestamp", "", "", "Local time of the reading, in the form YYYY/MM/DD HH:MM:SS.",
     ofGpu<readingTime>},
    {"gpu_name", "", "", "Product name of the GPU.", ofGpu<gpuName>},
    {"gpu_bus_id", "", "", "PCI bus id, as domain:bus:device.function in hexadecimal.",
     ofGpu<gpuBusId>},
    {"gpu_serial", "", "", "Serial number printed on the board.", ofGpu<gpuSerial>},
    {"gpu_uuid", "", "", "Identifier of the GPU that is unique in the world.", ofGpu<gpuUuid>},
    {"pid", "", "", "Id of the process.", pid},
    {"process_name", "name", "", "Command line of the process, or vgpu for one of a virtual GPU.",
     name},
    {"used_gpu_memory", "used_memory", "MiB", "Memory of the GPU that the process uses, in MiB.",
     usedMemory},
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
