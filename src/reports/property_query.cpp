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

// For numbers whose 0 means unavailable.
template <std::optional<std::uint32_t> (*attribute)()>
bool unlessZero(std::string& text, Gpu&) {
  const auto value = attribute();
  if (value.value_or(0) == 0) return false;
  join(text, Decimal(*value));
  return true;
}

bool boardId(std::string& text, Gpu& gpu) {
  if (gpu.boardId().value_or(0) == 0) return false;
  join(text, "0x", Hexadecimal(*gpu.boardId()));
  return true;
}

template <unsigned int nvmlPciInfo_t::*field, std::size_t digits>
bool pciNumber(std::string& text, Gpu& gpu) {
  if (gpu.pci()) join(text, "0x", hexText((*gpu.pci()).*field, digits));
  return gpu.pci().has_value();
}

template <unsigned long long nvmlMemory_t::*field>
bool memory(std::string& text, Gpu& gpu) {
  return gpu.memory() && (*gpu.memory()).*field != kUnavailable64 &&
         writeMebibytes(text, (*gpu.memory()).*field);
}

template <unsigned int nvmlUtilization_t::*field>
bool utilization(std::string& text, Gpu& gpu) {
  return gpu.utilization() && writeNumber(text, std::optional((*gpu.utilization()).*field));
}

template <nvmlClockType_t type>
bool currentClock(std::string& text, Gpu&) {
  return writeNumber(text, attributes::clockInfo(type));
}

bool pstate(std::string& text, Gpu&) {
  const auto state = known(attributes::performanceState());
  if (state) join(text, "P", Decimal(*state));
  return state.has_value();
}

bool eccMode(std::string& text, Gpu&) {
  const auto mode = attributes::eccMode();
  if (mode) text += mode->current == NVML_FEATURE_ENABLED ? "Enabled" : "Disabled";
  return mode.has_value();
}

// A board of two shows its power on the first GPU; a GPU in an unknown place asks for itself.
bool boardPowerDraw(std::string& text, Gpu& gpu) {
  const auto position = known(gpu.boardPosition());
  return position != 1U && writeNumber(text, boardPower(position ? gpu.boardId() : std::nullopt));
}

bool ofDriver(std::string& text, Gpu&) {
  text += driverVersion();
  return true;
}

bool ofCuda(std::string& text, Gpu&) {
  if (cudaVersion() == kUnavailableText) return false;
  text += cudaVersion();
  return true;
}

bool deviceCount(std::string& text, Gpu&) {
  join(text, Decimal(session().deviceCount));
  return true;
}

bool computeMode(std::string& text, Gpu&) {
  return writeComputeMode(text, attributes::computeMode());
}

constexpr std::array kProperties = std::to_array<CsvProperty<Gpu>>({
    {"timestamp", "", "", "Local time of the reading, in the form YYYY/MM/DD HH:MM:SS.",
     readingTime},
    {"driver_version", "", "", "Version of the installed Zanthe driver.", ofDriver},
    {"cuda_version", "", "", "Version of CUDA that the driver supports.", ofCuda},
    {"count", "", "", "Number of Zanthe GPUs in the system.", deviceCount},
    {"name", "gpu_name", "", "Product name of the GPU.", gpuName},
    {"serial", "gpu_serial", "", "Serial number printed on the board.", gpuSerial},
    {"uuid", "gpu_uuid", "", "Identifier of the GPU that is unique in the world.", gpuUuid},
    {"board_id", "", "", "Identifier of the board, shared by its GPUs, in hexadecimal.", boardId},
    {"part_number", "", "", "Part number of the board.", wording<attributes::partNumber>},
    {"pci.bus_id", "gpu_bus_id", "", "PCI bus id, as domain:bus:device.function in hexadecimal.",
     gpuBusId},
    {"pci.domain", "", "", "PCI domain number, in hexadecimal.",
     pciNumber<&nvmlPciInfo_t::domain, 4>},
    {"pci.bus", "", "", "PCI bus number, in hexadecimal.", pciNumber<&nvmlPciInfo_t::bus, 2>},
    {"pci.device", "", "", "PCI device number, in hexadecimal.",
     pciNumber<&nvmlPciInfo_t::device, 2>},
    {"pci.device_id", "", "", "PCI device and vendor id, in hexadecimal.",
     pciNumber<&nvmlPciInfo_t::pciDeviceId, 8>},
    {"pci.sub_device_id", "", "", "PCI subsystem id, in hexadecimal.",
     pciNumber<&nvmlPciInfo_t::pciSubSystemId, 8>},
    {"pcie.link.gen.current", "", "", "PCIe generation in use on the link.",
     unlessZero<attributes::pcieGenCurrent>},
    {"pcie.link.gen.max", "", "", "Highest PCIe generation that GPU and system allow.",
     unlessZero<attributes::pcieGenMax>},
    {"pcie.link.width.current", "", "", "PCIe lanes in use on the link.",
     unlessZero<attributes::pcieWidthCurrent>},
    {"pcie.link.width.max", "", "", "Most PCIe lanes that GPU and system allow.",
     unlessZero<attributes::pcieWidthMax>},
    {"pcie.tx.throughput", "", "KB/s", "Throughput from the GPU to the PCIe bus, in KB/s.",
     throughput<NVML_PCIE_UTIL_TX_BYTES>},
    {"pcie.rx.throughput", "", "KB/s", "Throughput from the PCIe bus to the GPU, in KB/s.",
     throughput<NVML_PCIE_UTIL_RX_BYTES>},
    {"index", "", "", "Index of the GPU, from 0; it may change at a reboot.",
     number<attributes::index>},
    {"pstate", "", "", "Performance state, from P0 (fastest) to P15 (slowest).", pstate},
    {"memory.total", "", "MiB", "Memory of the GPU, in MiB.", memory<&nvmlMemory_t::total>},
    {"memory.used", "", "MiB", "Memory in use, in MiB.", memory<&nvmlMemory_t::used>},
    {"memory.free", "", "MiB", "Memory not in use, in MiB.", memory<&nvmlMemory_t::free>},
    {"utilization.gpu", "", "%", "Share of time in which the GPU was busy, in percent.",
     utilization<&nvmlUtilization_t::gpu>},
    {"utilization.memory", "", "%", "Share of time in which the memory was busy, in percent.",
     utilization<&nvmlUtilization_t::memory>},
    {"utilization.encoder", "", "%", "Share of time in which the encoder was busy, in percent.",
     number<attributes::encoderUtilization>},
    {"utilization.decoder", "", "%", "Share of time in which the decoder was busy, in percent.",
     number<attributes::decoderUtilization>},
    {"ecc.mode.current", "", "", "Whether error correction is Enabled or Disabled.", eccMode},
    {"ecc.mode.pending", "", "", "Error correction after the next reboot; not available.",
     [](std::string&, Gpu&) { return false; }},
    {"temperature.gpu", "", "C", "Temperature of the GPU, in degrees Celsius.",
     number<attributes::temperature>},
    {"temperature.shutdown", "", "C",
     "Temperature at which the GPU shuts down, in degrees Celsius.",
     threshold<NVML_TEMPERATURE_THRESHOLD_SHUTDOWN>},
    {"temperature.slowdown", "", "C",
     "Temperature at which the GPU slows down, in degrees Celsius.",
     threshold<NVML_TEMPERATURE_THRESHOLD_SLOWDOWN>},
    {"temperature.max_operating", "", "C", "Highest operating temperature, in degrees Celsius.",
     threshold<NVML_TEMPERATURE_THRESHOLD_GPU_MAX>},
    {"gpu.power.draw", "", "W", "Power that the GPU draws, in watts.",
     number<attributes::powerUsage>},
    {"gpu.power.limit", "", "W", "Power limit of the GPU, in watts.",
     number<attributes::powerManagementLimit>},
    {"board.power.draw", "", "W", "Power that the board draws, on its first GPU, in watts.",
     boardPowerDraw},
    {"board.power.limit", "", "W", "Power limit of the board, in watts.",
     number<attributes::boardPowerLimit>},
    {"clocks.current.sm", "clocks.sm", "MHz", "Current clock of the SMs, in MHz.",
     currentClock<NVML_CLOCK_SM>},
    {"clocks.current.memory", "clocks.mem", "MHz", "Current clock of the memory, in MHz.",
     currentClock<NVML_CLOCK_MEM>},
    {"clocks.max.sm", "", "MHz", "Highest clock of the SMs, in MHz.", maxClock<NVML_CLOCK_SM>},
    {"clocks.max.memory", "clocks.max.mem", "MHz", "Highest clock of the memory, in MHz.",
     maxClock<NVML_CLOCK_MEM>},
    {"compute_mode", "", "", "Whether and how compute applications may share the GPU.",
     computeMode},
    {"fan.speed", "", "%", "Intended speed of the fan, in percent of its highest.",
     number<attributes::fanSpeed>},
    {"minor_number", "", "", "Minor number of the GPU's device node.",
     number<attributes::minorNumber>},
    {"multigpu_board", "", "", "Whether the board holds several GPUs, Yes or No.", multiGpuBoard},
    {"gpu_position", "", "", "Position of the GPU on its board, from 0.", gpuPosition},
    {"virt.gpu_virt_mode", "", "", "Virtualization mode: None, VGPU or Host VGPU.",
     writeVirtualizationMode},
    {"virt.host_vgpu_mode", "", "", "SR-IOV or Non SR-IOV, on a host of virtual GPUs.",
     writeHostVgpuMode},
    {"retired_pages.single_bit_ecc.count", "retired_pages.sbe", "",
     "Number of memory pages retired after several single bit errors.", kSingleBitPages},
    {"retired_pages.double_bit_ecc.count", "retired_pages.dbe", "",
     "Number of memory pages retired after a double bit error.", kDoubleBitPages},
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
