// The attributes of a GPU that a description can set: one row each gives the name in the
// description, the range, the spelling of its values and what holds when nothing is said.
#pragma once

#include "zanml/zanml.h"

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string_view>

namespace zansim {

// How a number may be written besides as a JSON number.
enum class Form {
  plain,
  bytes,  // "16 GiB"
  pair,   // "8.0": the part before the point in the upper 32 bits, the one behind it in the lower
};

constexpr std::uint64_t packPair(std::uint64_t first, std::uint64_t second) {
  return first << 32U | second;
}
constexpr unsigned firstOf(std::uint64_t pair) { return static_cast<unsigned>(pair >> 32U); }
constexpr unsigned secondOf(std::uint64_t pair) { return static_cast<unsigned>(pair); }

struct Word {
  std::string_view text;
  std::uint64_t value;
};

// What may stand for a number.
struct NumberRule {
  std::uint64_t min = 0;
  std::uint64_t max = std::numeric_limits<std::uint32_t>::max();
  Form form = Form::plain;
  std::span<const Word> words = {};
  bool mayFail = true;
};

struct NumberRow {
  std::string_view path;  // "group/name", or the name alone
  NumberRule rule;
  // What holds when nothing is said; of a number that is not derived: that it is unavailable.
  std::optional<std::uint64_t> usual = {};
  // A signal that every GPU of a board sees alike.
  bool perBoard = false;
};

struct TextRow {
  std::string_view path;
  std::string_view usual = {};  // empty: it is derived
};

inline constexpr std::uint64_t kGiB = 1ULL << 30U;
inline constexpr std::uint64_t kAll64 = std::numeric_limits<std::uint64_t>::max();
inline constexpr std::uint64_t kMaxBytes = 1ULL << 50U;

inline constexpr auto kSwitch =
    std::to_array<Word>({{"disabled", 0}, {"enabled", 1}, {"false", 0}, {"true", 1}});
inline constexpr auto kComputeModes =
    std::to_array<Word>({{"default", NVML_COMPUTEMODE_DEFAULT},
                         {"exclusive_thread", NVML_COMPUTEMODE_EXCLUSIVE_THREAD},
                         {"prohibited", NVML_COMPUTEMODE_PROHIBITED},
                         {"exclusive_process", NVML_COMPUTEMODE_EXCLUSIVE_PROCESS}});
inline constexpr auto kPerformanceStates = std::to_array<Word>({{"P0", 0},
                                                                {"P1", 1},
                                                                {"P2", 2},
                                                                {"P3", 3},
                                                                {"P4", 4},
                                                                {"P5", 5},
                                                                {"P6", 6},
                                                                {"P7", 7},
                                                                {"P8", 8},
                                                                {"P9", 9},
                                                                {"P10", 10},
                                                                {"P11", 11},
                                                                {"P12", 12},
                                                                {"P13", 13},
                                                                {"P14", 14},
                                                                {"P15", 15},
                                                                {"unknown", NVML_PSTATE_UNKNOWN}});
inline constexpr auto kVirtualizationModes =
    std::to_array<Word>({{"none", NVML_GPU_VIRTUALIZATION_MODE_NONE},
                         {"passthrough", NVML_GPU_VIRTUALIZATION_MODE_PASSTHROUGH},
                         {"vgpu", NVML_GPU_VIRTUALIZATION_MODE_VGPU},
                         {"host_vgpu", NVML_GPU_VIRTUALIZATION_MODE_HOST_VGPU},
                         {"host_vsga", NVML_GPU_VIRTUALIZATION_MODE_HOST_VSGA}});
inline constexpr auto kHostVgpuModes = std::to_array<Word>(
    {{"non_sriov", NVML_HOST_VGPU_MODE_NON_SRIOV}, {"sriov", NVML_HOST_VGPU_MODE_SRIOV}});
inline constexpr auto kP2pStates =
    std::to_array<Word>({{"ok", NVML_P2P_STATUS_OK},
                         {"chipset_not_supported", NVML_P2P_STATUS_CHIPSET_NOT_SUPPORTED},
                         {"gpu_not_supported", NVML_P2P_STATUS_GPU_NOT_SUPPORTED},
                         {"topology_not_supported", NVML_P2P_STATUS_TOPOLOGY_NOT_SUPPORTED},
                         {"disabled", NVML_P2P_STATUS_DISABLED},
                         {"not_supported", NVML_P2P_STATUS_NOT_SUPPORTED},
                         {"unknown", NVML_P2P_STATUS_UNKNOWN}});

inline constexpr NumberRule kPercent{.max = 100};
inline constexpr NumberRule kCelsius{.max = 254};
inline constexpr NumberRule kWatts{.max = 10'000};
inline constexpr NumberRule kMegahertz{.max = 20'000};
inline constexpr NumberRule kPair{.max = kAll64, .form = Form::pair};
inline constexpr NumberRule kByte{.max = 255};
inline constexpr NumberRule kAny32{};
inline constexpr NumberRule kAny64{.max = kAll64};
inline constexpr NumberRule kBytes{.max = kMaxBytes, .form = Form::bytes};
inline constexpr NumberRule kOnOff{.max = 1, .words = kSwitch};
inline constexpr NumberRule kPageCount{.max = 100'000};

inline constexpr auto kNumberRows = std::to_array<NumberRow>({
    {"minor_number", kAny32},
    {"board/id", kAny32},
    {"board/position", kByte},
    {"board/multi", kOnOff},
    {"board/power_usage", kWatts, 95, true},
    {"board/power_limit", kWatts, 300, true},
    {"board/temperature", kCelsius, 41, true},
    {"board/sn", kAny64},
    {"gpu_sn", kAny32},
    {"fan_speed", kPercent},
    {"power_usage", kWatts, 62},
    {"enforced_power_limit", kWatts, 250},
    {"power_limit", kWatts, 250},
    {"pcie/generation", kByte, 4},
    {"pcie/max_generation", kByte, 4},
    {"pcie/width", kByte, 16},
    {"pcie/max_width", kByte, 16},
    {"pcie/tx", kAny32, 0},
    {"pcie/rx", kAny32, 0},
    {"pci/domain", kAny32},
    {"pci/bus", kByte},
    {"pci/device", {.max = 31}, 0},
    {"pci/device_id", kAny32, 0x1c011f5a},
    {"pci/subsystem_id", kAny32, 0x00101f5a},
    {"compute_capability", kPair, packPair(8, 0)},
    {"compute_mode", {.max = 3, .words = kComputeModes}, 0},
    {"performance_state", {.max = 32, .words = kPerformanceStates}, 0},
    {"virtualization_mode", {.max = 4, .words = kVirtualizationModes}, 0},
    {"host_vgpu_mode", {.max = 1, .words = kHostVgpuModes}},
    {"ecc/current", kOnOff, 1},
    {"ecc/pending", kOnOff, 1},
    {"temperature", kCelsius, 38},
    {"temperature_shutdown", kCelsius, 105},
    {"temperature_slowdown", kCelsius, 95},
    {"temperature_memory_max", kCelsius, 95},
    {"temperature_max", kCelsius, 90},
    {"clocks/graphics", kMegahertz, 1000},
    {"clocks/sm", kMegahertz, 1000},
    {"clocks/memory", kMegahertz, 1200},
    {"clocks/video", kMegahertz, 800},
    {"max_clocks/graphics", kMegahertz, 1500},
    {"max_clocks/sm", kMegahertz, 1500},
    {"max_clocks/memory", kMegahertz, 1200},
    {"max_clocks/video", kMegahertz, 1000},
    {"utilization/gpu", kPercent, 0},
    {"utilization/memory", kPercent, 0},
    {"utilization/encoder", kPercent, 0},
    {"utilization/decoder", kPercent, 0},
    {"memory/total", kBytes, 32 * kGiB},
    {"memory/used", kBytes, 0},
    {"retired_pages/single_bit", kPageCount, 0},
    {"retired_pages/double_bit", kPageCount, 0},
    {"violation/power", kAny64, 0},
    {"violation/thermal", kAny64, 0},
    {"throttle_reasons", kAny64, 0},
    {"voltages/gpu", kPair, packPair(0, 85)},
    {"voltages/vdd", kPair, packPair(12, 10)},
    {"voltages/memory", kPair, packPair(1, 20)},
    {"ce/mask", kAny32, 0xfc},
    {"ce/supported", kAny32, 0xfc},
    {"p2p/read", {.max = 6, .words = kP2pStates}, 0},
    {"p2p/write", {.max = 6, .words = kP2pStates}, 0},
});

inline constexpr auto kTextRows = std::to_array<TextRow>({
    {"name", "Zanthe KV100"},
    {"serial"},
    {"uuid"},
    {"part_number", "900-KV100-00"},
    {"board/pn", "PN-KV100-A1"},
    {"firmware_version", "2.4.1"},
    {"hardware_version", "A1"},
    {"manufacture_date", "2023-08-14"},
    {"pci/bus_id"},
    {"pci/bus_id_legacy"},
});

constexpr std::string_view groupOf(std::string_view path) {
  const std::size_t slash = path.find('/');
  return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}
constexpr std::string_view nameOf(std::string_view path) { return path.substr(path.find('/') + 1); }

template <typename Rows>
consteval std::size_t rowOf(const Rows& rows, std::string_view path) {
  std::size_t row = 0;
  while (rows[row].path != path) ++row;  // a path that no row has does not compile
  return row;
}

// An attribute by the path of its row: Number("clocks/sm").
struct Number {
  std::size_t row;
  consteval Number(const char* path) : row(rowOf(kNumberRows, path)) {}
};
struct Text {
  std::size_t row;
  consteval Text(const char* path) : row(rowOf(kTextRows, path)) {}
};

}  // namespace zansim
