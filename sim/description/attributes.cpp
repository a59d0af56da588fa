#include "description/attributes.h"

#include <algorithm>
#include <array>

namespace zansim {

namespace {

constexpr std::uint64_t kGiB = 1ULL << 30U;
constexpr std::uint64_t kAll64 = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t kMaxBytes = 1ULL << 50U;

constexpr std::array kSwitch{Word{"disabled", 0}, Word{"enabled", 1}, Word{"false", 0},
                             Word{"true", 1}};
constexpr std::array kComputeModes{Word{"default", NVML_COMPUTEMODE_DEFAULT},
                                   Word{"exclusive_thread", NVML_COMPUTEMODE_EXCLUSIVE_THREAD},
                                   Word{"prohibited", NVML_COMPUTEMODE_PROHIBITED},
                                   Word{"exclusive_process", NVML_COMPUTEMODE_EXCLUSIVE_PROCESS}};
constexpr std::array kPerformanceStates{Word{"P0", 0},
                                        Word{"P1", 1},
                                        Word{"P2", 2},
                                        Word{"P3", 3},
                                        Word{"P4", 4},
                                        Word{"P5", 5},
                                        Word{"P6", 6},
                                        Word{"P7", 7},
                                        Word{"P8", 8},
                                        Word{"P9", 9},
                                        Word{"P10", 10},
                                        Word{"P11", 11},
                                        Word{"P12", 12},
                                        Word{"P13", 13},
                                        Word{"P14", 14},
                                        Word{"P15", 15},
                                        Word{"unknown", NVML_PSTATE_UNKNOWN}};
constexpr std::array kVirtualizationModes{
    Word{"none", NVML_GPU_VIRTUALIZATION_MODE_NONE},
    Word{"passthrough", NVML_GPU_VIRTUALIZATION_MODE_PASSTHROUGH},
    Word{"vgpu", NVML_GPU_VIRTUALIZATION_MODE_VGPU},
    Word{"host_vgpu", NVML_GPU_VIRTUALIZATION_MODE_HOST_VGPU},
    Word{"host_vsga", NVML_GPU_VIRTUALIZATION_MODE_HOST_VSGA}};
constexpr std::array kHostVgpuModes{Word{"non_sriov", NVML_HOST_VGPU_MODE_NON_SRIOV},
                                    Word{"sriov", NVML_HOST_VGPU_MODE_SRIOV}};
constexpr std::array kP2pStates{
    Word{"ok", NVML_P2P_STATUS_OK},
    Word{"chipset_not_supported", NVML_P2P_STATUS_CHIPSET_NOT_SUPPORTED},
    Word{"gpu_not_supported", NVML_P2P_STATUS_GPU_NOT_SUPPORTED},
    Word{"topology_not_supported", NVML_P2P_STATUS_TOPOLOGY_NOT_SUPPORTED},
    Word{"disabled", NVML_P2P_STATUS_DISABLED},
    Word{"not_supported", NVML_P2P_STATUS_NOT_SUPPORTED},
    Word{"unknown", NVML_P2P_STATUS_UNKNOWN}};

constexpr NumberRule kPercent{.max = 100};
constexpr NumberRule kCelsius{.max = 254};
constexpr NumberRule kWatts{.max = 10'000};
constexpr NumberRule kMegahertz{.max = 20'000};
constexpr NumberRule kPair{.max = kAll64, .form = Form::pair};
constexpr NumberRule kByte{.max = 255};
constexpr NumberRule kAny32{};
constexpr NumberRule kAny64{.max = kAll64};
constexpr NumberRule kBytes{.max = kMaxBytes, .form = Form::bytes};
constexpr NumberRule kOnOff{.max = 1, .words = kSwitch};
constexpr NumberRule kPageCount{.max = 100'000};

constexpr auto kConstant = Otherwise::constant;
constexpr auto kDerived = Otherwise::derived;
constexpr auto kUnavailable = Otherwise::unavailable;

constexpr std::array kNumberRows{
    NumberRow{"minor_number", Number::minorNumber, kAny32, kDerived},
    NumberRow{"board/id", Number::boardId, kAny32, kDerived},
    NumberRow{"board/position", Number::boardPosition, kByte, kDerived},
    NumberRow{"board/multi", Number::boardMulti, kOnOff, kDerived},
    NumberRow{"board/power_usage", Number::boardPowerUsage, kWatts, kConstant, 95, true},
    NumberRow{"board/power_limit", Number::boardPowerLimit, kWatts, kConstant, 300, true},
    NumberRow{"board/temperature", Number::boardTemperature, kCelsius, kConstant, 41, true},
    NumberRow{"board/sn", Number::boardSn, kAny64, kDerived},
    NumberRow{"gpu_sn", Number::gpuSn, kAny32, kDerived},
    NumberRow{"fan_speed", Number::fanSpeed, kPercent, kUnavailable},
    NumberRow{"power_usage", Number::powerUsage, kWatts, kConstant, 62},
    NumberRow{"enforced_power_limit", Number::enforcedPowerLimit, kWatts, kConstant, 250},
    NumberRow{"power_limit", Number::powerLimit, kWatts, kConstant, 250},
    NumberRow{"pcie/generation", Number::pcieGeneration, kByte, kConstant, 4},
    NumberRow{"pcie/max_generation", Number::pcieMaxGeneration, kByte, kConstant, 4},
    NumberRow{"pcie/width", Number::pcieWidth, kByte, kConstant, 16},
    NumberRow{"pcie/max_width", Number::pcieMaxWidth, kByte, kConstant, 16},
    NumberRow{"pcie/tx", Number::pcieTx, kAny32, kConstant, 0},
    NumberRow{"pcie/rx", Number::pcieRx, kAny32, kConstant, 0},
    NumberRow{"pci/domain", Number::pciDomain, kAny32, kDerived},
    NumberRow{"pci/bus", Number::pciBus, kByte, kDerived},
    NumberRow{"pci/device", Number::pciDevice, NumberRule{.max = 31}, kConstant, 0},
    NumberRow{"pci/device_id", Number::pciDeviceId, kAny32, kConstant, 0x1c011f5a},
    NumberRow{"pci/subsystem_id", Number::pciSubsystemId, kAny32, kConstant, 0x00101f5a},
    NumberRow{"compute_capability", Number::computeCapability, kPair, kConstant, packPair(8, 0)},
    NumberRow{"compute_mode", Number::computeMode, {.max = 3, .words = kComputeModes}, kConstant},
    NumberRow{"performance_state",
              Number::performanceState,
              {.max = 32, .words = kPerformanceStates},
              kConstant,
              0},
    NumberRow{"virtualization_mode",
              Number::virtualizationMode,
              {.max = 4, .words = kVirtualizationModes},
              kConstant},
    NumberRow{
        "host_vgpu_mode", Number::hostVgpuMode, {.max = 1, .words = kHostVgpuModes}, kUnavailable},
    NumberRow{"ecc/current", Number::eccCurrent, kOnOff, kConstant, 1},
    NumberRow{"ecc/pending", Number::eccPending, kOnOff, kConstant, 1},
    NumberRow{"temperature", Number::temperature, kCelsius, kConstant, 38},
    NumberRow{"temperature_shutdown", Number::temperatureShutdown, kCelsius, kConstant, 105},
    NumberRow{"temperature_slowdown", Number::temperatureSlowdown, kCelsius, kConstant, 95},
    NumberRow{"temperature_memory_max", Number::temperatureMemoryMax, kCelsius, kConstant, 95},
    NumberRow{"temperature_max", Number::temperatureMax, kCelsius, kConstant, 90},
    NumberRow{"clocks/graphics", Number::clockGraphics, kMegahertz, kConstant, 1000},
    NumberRow{"clocks/sm", Number::clockSm, kMegahertz, kConstant, 1000},
    NumberRow{"clocks/memory", Number::clockMemory, kMegahertz, kConstant, 1200},
    NumberRow{"clocks/video", Number::clockVideo, kMegahertz, kConstant, 800},
    NumberRow{"max_clocks/graphics", Number::maxClockGraphics, kMegahertz, kConstant, 1500},
    NumberRow{"max_clocks/sm", Number::maxClockSm, kMegahertz, kConstant, 1500},
    NumberRow{"max_clocks/memory", Number::maxClockMemory, kMegahertz, kConstant, 1200},
    NumberRow{"max_clocks/video", Number::maxClockVideo, kMegahertz, kConstant, 1000},
    NumberRow{"utilization/gpu", Number::utilizationGpu, kPercent, kConstant, 0},
    NumberRow{"utilization/memory", Number::utilizationMemory, kPercent, kConstant, 0},
    NumberRow{"utilization/encoder", Number::utilizationEncoder, kPercent, kConstant, 0},
    NumberRow{"utilization/decoder", Number::utilizationDecoder, kPercent, kConstant, 0},
    NumberRow{"memory/total", Number::memoryTotal, kBytes, kConstant, 32 * kGiB},
    NumberRow{"memory/used", Number::memoryUsed, kBytes, kConstant, 0},
    NumberRow{"retired_pages/single_bit", Number::retiredSingleBit, kPageCount, kConstant, 0},
    NumberRow{"retired_pages/double_bit", Number::retiredDoubleBit, kPageCount, kConstant, 0},
    NumberRow{"violation/power", Number::violationPower, kAny64, kConstant, 0},
    NumberRow{"violation/thermal", Number::violationThermal, kAny64, kConstant, 0},
    NumberRow{"throttle_reasons", Number::throttleReasons, kAny64, kConstant, 0},
    NumberRow{"voltages/gpu", Number::voltageGpu, kPair, kConstant, packPair(0, 85)},
    NumberRow{"voltages/vdd", Number::voltageVdd, kPair, kConstant, packPair(12, 10)},
    NumberRow{"voltages/memory", Number::voltageMemory, kPair, kConstant, packPair(1, 20)},
    NumberRow{"ce/mask", Number::ceMask, kAny32, kConstant, 0xfc},
    NumberRow{"ce/supported", Number::ceSupported, kAny32, kConstant, 0xfc},
    NumberRow{"p2p/read", Number::p2pRead, {.max = 6, .words = kP2pStates}, kConstant},
    NumberRow{"p2p/write", Number::p2pWrite, {.max = 6, .words = kP2pStates}, kConstant},
};

constexpr std::array kTextRows{
    TextRow{"name", Text::name, kConstant, "Zanthe KV100"},
    TextRow{"serial", Text::serial, kDerived},
    TextRow{"uuid", Text::uuid, kDerived},
    TextRow{"part_number", Text::partNumber, kConstant, "900-KV100-00"},
    TextRow{"board/pn", Text::boardPn, kConstant, "PN-KV100-A1"},
    TextRow{"firmware_version", Text::firmwareVersion, kConstant, "2.4.1"},
    TextRow{"hardware_version", Text::hardwareVersion, kConstant, "A1"},
    TextRow{"manufacture_date", Text::manufactureDate, kConstant, "2023-08-14"},
    TextRow{"pci/bus_id", Text::pciBusId, kDerived},
    TextRow{"pci/bus_id_legacy", Text::pciBusIdLegacy, kDerived},
};

template <typename Rows>
constexpr bool inEnumerationOrder(const Rows& rows) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (static_cast<std::size_t>(rows[i].attribute) != i) return false;
  }
  return true;
}

static_assert(kNumberRows.size() == kNumberCount && inEnumerationOrder(kNumberRows));
static_assert(kTextRows.size() == kTextCount && inEnumerationOrder(kTextRows));

template <typename Rows>
bool hasGroup(const Rows& rows, std::string_view name) {
  return std::any_of(rows.begin(), rows.end(), [&](const auto& row) {
    return row.path.size() > name.size() && row.path[name.size()] == '/' &&
           row.path.substr(0, name.size()) == name;
  });
}

}  // namespace

const std::span<const Word> kSwitchWords = kSwitch;

std::span<const NumberRow> numberRows() { return kNumberRows; }

std::span<const TextRow> textRows() { return kTextRows; }

bool isAttributeGroup(std::string_view name) {
  return hasGroup(kNumberRows, name) || hasGroup(kTextRows, name);
}

}  // namespace zansim
