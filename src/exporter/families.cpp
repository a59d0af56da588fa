#include "exporter/families.h"

#include "exporter/labels.h"
#include "exporter/other_series.h"
#include "exporter/values.h"

#include <fmt/format.h>

namespace zanctl::exporter {
namespace {

using namespace collector;
// A lambda of the readings `r`.
#define ZANCTL_VALUE(expression) [](const Readings& r) -> Value { return expression; }

constexpr GpuSeries kTemperatures[] = {
    {R"(sensor="gpu")", ZANCTL_VALUE(plain(r.temperature.gpu))},
    {R"(sensor="board")", ZANCTL_VALUE(plain(r.temperature.board))},
};
constexpr GpuSeries kThresholds[] = {
    {R"(threshold="shutdown")", ZANCTL_VALUE(plain(r.temperature.shutdown))},
    {R"(threshold="slowdown")", ZANCTL_VALUE(plain(r.temperature.slowdown))},
    {R"(threshold="max_operating")", ZANCTL_VALUE(plain(r.temperature.maxOperating))},
};
constexpr GpuSeries kFanSpeed[] = {{"", ZANCTL_VALUE(over(r.temperature.fanSpeed, kPercent))}};
constexpr GpuSeries kPowerUsage[] = {{"", ZANCTL_VALUE(plain(r.power.usage))}};
constexpr GpuSeries kPowerLimits[] = {
    {R"(limit="enforced")", ZANCTL_VALUE(plain(r.power.enforcedLimit))},
    {R"(limit="management")", ZANCTL_VALUE(plain(r.power.managementLimit))},
};
constexpr GpuSeries kVoltages[] = {
    {R"(rail="gpu")", ZANCTL_VALUE(r.power.gpuVolts)},
    {R"(rail="memory")", ZANCTL_VALUE(r.power.memoryVolts)},
    {R"(rail="vcc12")", ZANCTL_VALUE(r.power.vcc12Volts)},
};
constexpr GpuSeries kClocks[] = {
    {R"(domain="sm")", ZANCTL_VALUE(times(r.clock.sm, kHertzPerMegahertz))},
    {R"(domain="memory")", ZANCTL_VALUE(times(r.clock.memory, kHertzPerMegahertz))},
};
constexpr GpuSeries kMaxClocks[] = {
    {R"(domain="sm")", ZANCTL_VALUE(times(r.clock.maxSm, kHertzPerMegahertz))},
    {R"(domain="memory")", ZANCTL_VALUE(times(r.clock.maxMemory, kHertzPerMegahertz))},
};
constexpr GpuSeries kPerformanceState[] = {{"", ZANCTL_VALUE(plain(r.clock.performanceState))}};
constexpr GpuSeries kThrottle[] = {
    {"", ZANCTL_VALUE(r.clock.throttleReasons ? Value(*r.clock.throttleReasons != 0 ? 1 : 0)
                                              : std::nullopt)}};
constexpr GpuSeries kViolations[] = {
    {R"(reason="power")", ZANCTL_VALUE(over(r.clock.powerViolation, kNanosecondsPerSecond))},
    {R"(reason="thermal")", ZANCTL_VALUE(over(r.clock.thermalViolation, kNanosecondsPerSecond))},
};
constexpr GpuSeries kUtilizations[] = {
    {R"(engine="sm")", ZANCTL_VALUE(over(r.utilization.sm, kPercent))},
    {R"(engine="memory")", ZANCTL_VALUE(over(r.utilization.memory, kPercent))},
    {R"(engine="encoder")", ZANCTL_VALUE(over(r.utilization.encoder, kPercent))},
    {R"(engine="decoder")", ZANCTL_VALUE(over(r.utilization.decoder, kPercent))},
};
constexpr GpuSeries kMemoryTotal[] = {{"", ZANCTL_VALUE(plain(r.memory.total))}};
constexpr GpuSeries kMemoryUsed[] = {{"", ZANCTL_VALUE(plain(r.memory.used))}};
constexpr GpuSeries kEccEnabled[] = {{"", ZANCTL_VALUE(plain(r.memory.eccEnabled))}};
constexpr GpuSeries kEccPending[] = {{"", ZANCTL_VALUE(plain(r.memory.eccPending))}};
constexpr GpuSeries kRetiredPages[] = {
    {R"(cause="single_bit")", ZANCTL_VALUE(plain(r.memory.singleBitPages))},
    {R"(cause="double_bit")", ZANCTL_VALUE(plain(r.memory.doubleBitPages))},
};
constexpr GpuSeries kLinkGeneration[] = {{"", ZANCTL_VALUE(plain(r.pcie.generation))}};
constexpr GpuSeries kLinkMaxGeneration[] = {{"", ZANCTL_VALUE(plain(r.pcie.maxGeneration))}};
constexpr GpuSeries kLinkWidth[] = {{"", ZANCTL_VALUE(plain(r.pcie.width))}};
constexpr GpuSeries kLinkMaxWidth[] = {{"", ZANCTL_VALUE(plain(r.pcie.maxWidth))}};
constexpr GpuSeries kThroughput[] = {
    {R"(direction="transmit")", ZANCTL_VALUE(times(r.pcieThroughput.transmit, kBytesPerKilobyte))},
    {R"(direction="receive")", ZANCTL_VALUE(times(r.pcieThroughput.receive, kBytesPerKilobyte))},
};
constexpr GpuSeries kProcessCount[] = {{"", ZANCTL_VALUE(plain(r.processCount))}};
constexpr GpuSeries kVgpuCount[] = {{"", ZANCTL_VALUE(plain(r.vgpuCount))}};
#undef ZANCTL_VALUE

constexpr Family ofGpus(std::string_view name, Kind kind, Groups groups, std::string_view help,
                        std::span<const GpuSeries> series) {
  return {name, kind, groups, help, series, nullptr};
}

constexpr Family others(std::string_view name, Kind kind, Groups groups, std::string_view help,
                        void (*write)(const Scrape&, Sink&)) {
  return {name, kind, groups, help, {}, write};
}

constexpr Family kFamilies[] = {
    others("zanthe_gpus", Kind::gauge, 0,
           "Number of GPUs that the management library counts; 0 without a library or a driver.",
           writeGpuCount),
    others("zanthe_driver_info", Kind::info, 0,
           "Versions of the driver, of the management library and of the CUDA interface.",
           writeDriverInfo),
    others("zanthe_reset_in_progress", Kind::gauge, 0,
           "1 while the driver's marker says that GPUs are being reset, else 0.", writeResetMarker),
    others("zanthe_gpu_up", Kind::gauge, 0,
           "1 for a GPU that answers, 0 for one that answers nothing or does not answer in time.",
           writeUp),
    others("zanthe_gpu_info", Kind::info, kIdentity,
           "Identity of the GPU and of the board that it is on; a label is empty when unknown.",
           writeGpuInfo),
    ofGpus("zanthe_gpu_temperature_celsius", Kind::gauge, kTemperature,
           "Temperature of the GPU and of its board in degrees Celsius, from their sensors.",
           kTemperatures),
    ofGpus("zanthe_gpu_temperature_threshold_celsius", Kind::gauge, kTemperature,
           "Temperatures in degrees Celsius at which the GPU shuts down, slows down, or should not "
           "run any hotter, from its own thresholds.",
           kThresholds),
    ofGpus("zanthe_gpu_fan_speed_ratio", Kind::gauge, kTemperature,
           "Speed that the fan is set to, as a part of its maximum, from the library's percentage.",
           kFanSpeed),
    ofGpus("zanthe_gpu_power_watts", Kind::gauge, kPower,
           "Power draw of the GPU itself in watts, also where it shares a board, from its own "
           "reading.",
           kPowerUsage),
    ofGpus("zanthe_gpu_power_limit_watts", Kind::gauge, kPower,
           "Power limits of the GPU in watts, from the library: the one that is enforced, and the "
           "one that was set.",
           kPowerLimits),
    others("zanthe_board_power_watts", Kind::gauge, kPower,
           "Power draw of a whole board in watts, asked of its first GPU.", writeBoardPower),
    others("zanthe_board_power_limit_watts", Kind::gauge, kPower,
           "Power limit of a whole board in watts, asked of its first GPU.", writeBoardLimit),
    ofGpus("zanthe_gpu_voltage_volts", Kind::gauge, kPower,
           "Voltages of the GPU, of its memory and of the 12 V supply in volts, from the board's "
           "hardware monitor.",
           kVoltages),
    ofGpus("zanthe_gpu_clock_hertz", Kind::gauge, kClock,
           "Current clocks in hertz, from the library's figure in MHz.", kClocks),
    ofGpus("zanthe_gpu_clock_max_hertz", Kind::gauge, kClock,
           "Highest clocks that the GPU can run at in hertz, from the library's figure in MHz.",
           kMaxClocks),
    ofGpus("zanthe_gpu_performance_state", Kind::gauge, kClock,
           "Performance state of the GPU by the library's number, from 0 for the fastest to 15 for "
           "the slowest.",
           kPerformanceState),
    ofGpus("zanthe_gpu_throttle_active", Kind::gauge, kClock,
           "1 while the library gives any reason for the GPU to run below its clocks, else 0.",
           kThrottle),
    ofGpus("zanthe_gpu_violation_seconds_total", Kind::counter, kClock,
           "Seconds for which a limit of power or temperature held the clocks down; goes back to 0 "
           "when the GPU is reset.",
           kViolations),
    ofGpus("zanthe_gpu_utilization_ratio", Kind::gauge, kUtilization,
           "Part of the time for which engines of the GPU were at work, from the library's "
           "percentage.",
           kUtilizations),
    others("zanthe_gpu_jpu_busy_seconds_total", Kind::counter, kEngines,
           "Seconds for which each JPU engine was at work since the driver was loaded.", writeJpu),
    others(
        "zanthe_gpu_vpu_utilization_ratio", Kind::gauge, kEngines,
        "Part of its time for which each VPU engine was at work: its busy figure over the total.",
        writeVpu),
    ofGpus("zanthe_gpu_memory_total_bytes", Kind::gauge, kMemory,
           "Memory of the GPU in bytes, from the library's exact figure.", kMemoryTotal),
    ofGpus("zanthe_gpu_memory_used_bytes", Kind::gauge, kMemory,
           "Memory of the GPU that is in use, in bytes, from the library's exact figure.",
           kMemoryUsed),
    ofGpus("zanthe_gpu_ecc_enabled", Kind::gauge, kMemory,
           "1 when error correction of the memory is on, 0 when it is off, from the GPU's current "
           "mode.",
           kEccEnabled),
    ofGpus("zanthe_gpu_ecc_pending_enabled", Kind::gauge, kMemory,
           "1 when error correction of the memory will be on after the next reset, else 0, from "
           "the GPU's pending mode.",
           kEccPending),
    ofGpus("zanthe_gpu_retired_pages", Kind::gauge, kMemory,
           "Number of memory pages in the GPU's lists of those retired, for several single-bit "
           "errors or one double-bit error.",
           kRetiredPages),
    ofGpus("zanthe_gpu_pcie_link_generation", Kind::gauge, kPcie,
           "Generation that the PCIe link runs at, from the GPU.", kLinkGeneration),
    ofGpus("zanthe_gpu_pcie_link_generation_max", Kind::gauge, kPcie,
           "Highest generation that the GPU and its slot can run the PCIe link at, from the GPU.",
           kLinkMaxGeneration),
    ofGpus("zanthe_gpu_pcie_link_width_lanes", Kind::gauge, kPcie,
           "Number of lanes that the PCIe link runs with, from the GPU.", kLinkWidth),
    ofGpus("zanthe_gpu_pcie_link_width_max_lanes", Kind::gauge, kPcie,
           "Highest number of lanes that the GPU and its slot can run the PCIe link with, from the "
           "GPU.",
           kLinkMaxWidth),
    ofGpus("zanthe_gpu_pcie_throughput_bytes_per_second", Kind::gauge, kPcieThroughput,
           "Traffic on the PCIe link in bytes per second, measured by the library for a moment, "
           "from its figure in KB/s.",
           kThroughput),
    ofGpus("zanthe_gpu_processes", Kind::gauge, kProcesses,
           "Number of compute processes that the library lists.", kProcessCount),
    others(
        "zanthe_gpu_process_memory_used_bytes", Kind::gauge, kProcessNames,
        "Memory of the GPU that a compute process uses, in bytes, from the library's list of them.",
        writeProcesses),
    ofGpus(
        "zanthe_gpu_vgpu_instances", Kind::gauge, kVgpu,
        "Number of active vGPUs on a GPU that is in a vGPU mode, from the library's list of them.",
        kVgpuCount),
    others("zanthe_vgpu_utilization_ratio", Kind::gauge, kVgpu,
           "Part of the time for which a vGPU used an engine of its GPU, from the library's last "
           "percentage.",
           writeVgpuUtilization),
    others("zanthe_vgpu_memory_used_bytes", Kind::gauge, kVgpu,
           "Frame buffer that a vGPU uses, in bytes, from the library.", writeVgpuMemory),
    others("zanctl_exporter_build_info", Kind::info, 0, "Version of the exporter.", writeBuildInfo),
    others("zanctl_exporter_round_duration_seconds", Kind::gauge, 0,
           "Seconds that it took to ask the GPUs for these figures.", writeRoundDuration),
    others("zanctl_exporter_round_timeouts_total", Kind::counter, 0,
           "Rounds in which the library did not answer in time.", writeRoundTimeouts),
    others("zanctl_exporter_collector_restarts_total", Kind::counter, 0,
           "Times that the process which holds the library was replaced, after a crash or a hang.",
           writeRestarts),
};

}  // namespace

Scrape::Scrape(const Snapshot& snapshot, Groups groups) : snapshot_(snapshot), groups_(groups) {
  gpuLabels_.reserve(snapshot.gpus.size());
  for (const Gpu& gpu : snapshot.gpus) {
    gpuLabels_.push_back(
        Labels().add("gpu", fmt::to_string(gpu.index)).add("uuid", gpu.uuid).text());
  }
}

std::span<const Family> families() { return kFamilies; }

void writeSamples(const Family& family, const Scrape& scrape, Sink& sink) {
  if (family.others != nullptr) family.others(scrape, sink);
  const auto& gpus = scrape.snapshot().gpus;
  for (std::size_t n = 0; n < gpus.size(); ++n) {
    for (const GpuSeries& series : family.gpuSeries) {
      sink.sample(scrape.gpuLabels(n), series.label, series.value(gpus[n].readings));
    }
  }
}

}  // namespace zanctl::exporter
