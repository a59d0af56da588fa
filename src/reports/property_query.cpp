#include "reports/property_query.h"

#include "device/board_power.h"
#include "device/format.h"
#include "device/records.h"
#include "device/time.h"
#include "reports/reading_text.h"

#include <array>

namespace zanctl {
namespace {

using Gpu = GpuAttributes;
using Text = std::optional<std::string>;
using Number = std::optional<std::uint32_t>;

// For numbers whose 0 means unavailable.
Text shownUnlessZero(Number value, fmt::string_view form = "{}") {
  return value && *value != 0 ? Text(fmt::format(fmt::runtime(form), *value)) : std::nullopt;
}

Text pciNumber(Gpu& gpu, unsigned int nvmlPciInfo_t::*field, int digits) {
  return gpu.pci() ? Text("0x" + hexText((*gpu.pci()).*field, digits)) : std::nullopt;
}

Text memory(Gpu& gpu, unsigned long long nvmlMemory_t::*field) {
  if (!gpu.memory() || (*gpu.memory()).*field == kUnavailable64) return std::nullopt;
  return mebibytes((*gpu.memory()).*field);
}

Text percent(Gpu& gpu, unsigned int nvmlUtilization_t::*field) {
  return gpu.utilization() ? shown(Number((*gpu.utilization()).*field)) : std::nullopt;
}

Text pstate(Gpu&) {
  const Text state = shown(attributes::performanceState());
  return state ? Text(fmt::format("P{}", *state)) : std::nullopt;
}

Text eccMode(Gpu&) {
  const auto mode = attributes::eccMode();
  if (!mode) return std::nullopt;
  return mode->current == NVML_FEATURE_ENABLED ? "Enabled" : "Disabled";
}

// A board of two shows its power on the first GPU; a GPU in an unknown place asks for itself.
Text boardPowerText(Gpu& gpu) {
  const Number position = known(gpu.boardPosition());
  if (position == 1U) return std::nullopt;
  return shown(boardPower(position ? gpu.boardId() : std::nullopt));
}

Text localTime(Gpu& gpu) { return dateTimeStamp(gpu.time()); }

Text threshold(nvmlTemperatureThresholds_t which) {
  return shown(attributes::temperatureThreshold(which));
}

constexpr std::array kProperties = std::to_array<CsvProperty<Gpu>>({
    {"timestamp", "", "", "Local time of the reading, in the form YYYY/MM/DD HH:MM:SS.", localTime},
    {"driver_version", "", "", "Version of the installed Zanthe driver.",
     [](Gpu&) { return Text(driverVersion()); }},
    {"cuda_version", "", "", "Version of CUDA that the driver supports.",
     [](Gpu&) { return cudaVersion() == kUnavailableText ? std::nullopt : Text(cudaVersion()); }},
    {"count", "", "", "Number of Zanthe GPUs in the system.",
     [](Gpu&) { return Text(fmt::to_string(session().deviceCount)); }},
    {"name", "gpu_name", "", "Product name of the GPU.", [](Gpu& gpu) { return gpu.name(); }},
    {"serial", "gpu_serial", "", "Serial number printed on the board.",
     [](Gpu& gpu) { return gpu.serial(); }},
    {"uuid", "gpu_uuid", "", "Identifier of the GPU that is unique in the world.",
     [](Gpu& gpu) { return gpu.uuid(); }},
    {"board_id", "", "", "Identifier of the board, shared by its GPUs, in hexadecimal.",
     [](Gpu& gpu) { return shownUnlessZero(gpu.boardId(), "{:#x}"); }},
    {"part_number", "", "", "Part number of the board.",
     [](Gpu&) { return attributes::partNumber(); }},
    {"pci.bus_id", "gpu_bus_id", "", "PCI bus id, as domain:bus:device.function in hexadecimal.",
     [](Gpu& gpu) { return gpu.pci() ? Text(busIdText(*gpu.pci())) : std::nullopt; }},
    {"pci.domain", "", "", "PCI domain number, in hexadecimal.",
     [](Gpu& gpu) { return pciNumber(gpu, &nvmlPciInfo_t::domain, 4); }},
    {"pci.bus", "", "", "PCI bus number, in hexadecimal.",
     [](Gpu& gpu) { return pciNumber(gpu, &nvmlPciInfo_t::bus, 2); }},
    {"pci.device", "", "", "PCI device number, in hexadecimal.",
     [](Gpu& gpu) { return pciNumber(gpu, &nvmlPciInfo_t::device, 2); }},
    {"pci.device_id", "", "", "PCI device and vendor id, in hexadecimal.",
     [](Gpu& gpu) { return pciNumber(gpu, &nvmlPciInfo_t::pciDeviceId, 8); }},
    {"pci.sub_device_id", "", "", "PCI subsystem id, in hexadecimal.",
     [](Gpu& gpu) { return pciNumber(gpu, &nvmlPciInfo_t::pciSubSystemId, 8); }},
    {"pcie.link.gen.current", "", "", "PCIe generation in use on the link.",
     [](Gpu&) { return shownUnlessZero(attributes::pcieGenCurrent()); }},
    {"pcie.link.gen.max", "", "", "Highest PCIe generation that GPU and system allow.",
     [](Gpu&) { return shownUnlessZero(attributes::pcieGenMax()); }},
    {"pcie.link.width.current", "", "", "PCIe lanes in use on the link.",
     [](Gpu&) { return shownUnlessZero(attributes::pcieWidthCurrent()); }},
    {"pcie.link.width.max", "", "", "Most PCIe lanes that GPU and system allow.",
     [](Gpu&) { return shownUnlessZero(attributes::pcieWidthMax()); }},
    {"pcie.tx.throughput", "", "KB/s", "Throughput from the GPU to the PCIe bus, in KB/s.",
     [](Gpu&) { return shown(attributes::pcieThroughput(NVML_PCIE_UTIL_TX_BYTES)); }},
    {"pcie.rx.throughput", "", "KB/s", "Throughput from the PCIe bus to the GPU, in KB/s.",
     [](Gpu&) { return shown(attributes::pcieThroughput(NVML_PCIE_UTIL_RX_BYTES)); }},
    {"index", "", "", "Index of the GPU, from 0; it may change at a reboot.",
     [](Gpu&) { return shown(attributes::index()); }},
    {"pstate", "", "", "Performance state, from P0 (fastest) to P15 (slowest).", pstate},
    {"memory.total", "", "MiB", "Memory of the GPU, in MiB.",
     [](Gpu& gpu) { return memory(gpu, &nvmlMemory_t::total); }},
    {"memory.used", "", "MiB", "Memory in use, in MiB.",
     [](Gpu& gpu) { return memory(gpu, &nvmlMemory_t::used); }},
    {"memory.free", "", "MiB", "Memory not in use, in MiB.",
     [](Gpu& gpu) { return memory(gpu, &nvmlMemory_t::free); }},
    {"utilization.gpu", "", "%", "Share of time in which the GPU was busy, in percent.",
     [](Gpu& gpu) { return percent(gpu, &nvmlUtilization_t::gpu); }},
    {"utilization.memory", "", "%", "Share of time in which the memory was busy, in percent.",
     [](Gpu& gpu) { return percent(gpu, &nvmlUtilization_t::memory); }},
    {"utilization.encoder", "", "%", "Share of time in which the encoder was busy, in percent.",
     [](Gpu&) { return shown(attributes::encoderUtilization()); }},
    {"utilization.decoder", "", "%", "Share of time in which the decoder was busy, in percent.",
     [](Gpu&) { return shown(attributes::decoderUtilization()); }},
    {"ecc.mode.current", "", "", "Whether error correction is Enabled or Disabled.", eccMode},
    {"ecc.mode.pending", "", "", "Error correction after the next reboot; not available.",
     [](Gpu&) { return Text(); }},
    {"temperature.gpu", "", "C", "Temperature of the GPU, in degrees Celsius.",
     [](Gpu&) { return shown(attributes::temperature()); }},
    {"temperature.shutdown", "", "C", "Temperature at which the GPU shuts down, in degrees Celsius.",
     [](Gpu&) { return threshold(NVML_TEMPERATURE_THRESHOLD_SHUTDOWN); }},
    {"temperature.slowdown", "", "C", "Temperature at which the GPU slows down, in degrees Celsius.",
     [](Gpu&) { return threshold(NVML_TEMPERATURE_THRESHOLD_SLOWDOWN); }},
    {"temperature.max_operating", "", "C", "Highest operating temperature, in degrees Celsius.",
     [](Gpu&) { return threshold(NVML_TEMPERATURE_THRESHOLD_GPU_MAX); }},
    {"gpu.power.draw", "", "W", "Power that the GPU draws, in watts.",
     [](Gpu&) { return shown(attributes::powerUsage()); }},
    {"gpu.power.limit", "", "W", "Power limit of the GPU, in watts.",
     [](Gpu&) { return shown(attributes::powerManagementLimit()); }},
    {"board.power.draw", "", "W", "Power that the board draws, on its first GPU, in watts.",
     boardPowerText},
    {"board.power.limit", "", "W", "Power limit of the board, in watts.",
     [](Gpu&) { return shown(attributes::boardPowerLimit()); }},
    {"clocks.current.sm", "clocks.sm", "MHz", "Current clock of the SMs, in MHz.",
     [](Gpu&) { return shown(attributes::clockInfo(NVML_CLOCK_SM)); }},
    {"clocks.current.memory", "clocks.mem", "MHz", "Current clock of the memory, in MHz.",
     [](Gpu&) { return shown(attributes::clockInfo(NVML_CLOCK_MEM)); }},
    {"clocks.max.sm", "", "MHz", "Highest clock of the SMs, in MHz.",
     [](Gpu&) { return shown(attributes::maxClockInfo(NVML_CLOCK_SM)); }},
    {"clocks.max.memory", "clocks.max.mem", "MHz", "Highest clock of the memory, in MHz.",
     [](Gpu&) { return shown(attributes::maxClockInfo(NVML_CLOCK_MEM)); }},
    {"compute_mode", "", "", "Whether and how compute applications may share the GPU.",
     [](Gpu&) { return computeModeName(attributes::computeMode()); }},
    {"fan.speed", "", "%", "Intended speed of the fan, in percent of its highest.",
     [](Gpu&) { return shown(attributes::fanSpeed()); }},
    {"minor_number", "", "", "Minor number of the GPU's device node.",
     [](Gpu&) { return shown(attributes::minorNumber()); }},
    {"multigpu_board", "", "", "Whether the board holds several GPUs, Yes or No.",
     [](Gpu&) { return Text(attributes::multiGpuBoard() ? "Yes" : "No"); }},
    {"gpu_position", "", "", "Position of the GPU on its board, from 0.",
     [](Gpu& gpu) { return shown(gpu.boardPosition()); }},
    {"virt.gpu_virt_mode", "", "", "Virtualization mode: None, VGPU or Host VGPU.",
     virtualizationModeName},
    {"virt.host_vgpu_mode", "", "", "SR-IOV or Non SR-IOV, on a host of virtual GPUs.",
     hostVgpuModeName},
    {"retired_pages.single_bit_ecc.count", "retired_pages.sbe", "",
     "Number of memory pages retired after several single bit errors.",
     [](Gpu&) {
       return shown(attributes::retiredPageCount(
           NVML_PAGE_RETIREMENT_CAUSE_MULTIPLE_SINGLE_BIT_ECC_ERRORS));
     }},
    {"retired_pages.double_bit_ecc.count", "retired_pages.dbe", "",
     "Number of memory pages retired after a double bit error.",
     [](Gpu&) {
       return shown(
           attributes::retiredPageCount(NVML_PAGE_RETIREMENT_CAUSE_DOUBLE_BIT_ECC_ERROR));
     }},
});

}  // namespace

CsvTable<GpuAttributes> gpuProperties() { return kProperties; }

int runPropertyQuery(const CsvOptions& options, std::ostream& out) {
  const auto rowOfGpu = [](const auto& write) {
    GpuAttributes gpu(currentTime().tv_sec);
    write(gpu);
  };
  return runCsvQuery(options, gpuProperties(), rowOfGpu, out);
}

int printPropertyQueryHelp(std::ostream& out) { return printPropertyHelp(gpuProperties(), out); }

}  // namespace zanctl
