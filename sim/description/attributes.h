// The attributes of a GPU that a description can set: one row each gives the name in the
// description, the range, the spelling of its values and what holds when nothing is said.
#pragma once

#include "description/source.h"

#include <cstdint>
#include <limits>
#include <span>
#include <string_view>

namespace zansim {

enum class Number : unsigned {
  minorNumber,
  boardId,
  boardPosition,
  boardMulti,
  boardPowerUsage,
  boardPowerLimit,
  boardTemperature,
  boardSn,
  gpuSn,
  fanSpeed,
  powerUsage,
  enforcedPowerLimit,
  powerLimit,
  pcieGeneration,
  pcieMaxGeneration,
  pcieWidth,
  pcieMaxWidth,
  pcieTx,
  pcieRx,
  pciDomain,
  pciBus,
  pciDevice,
  pciDeviceId,
  pciSubsystemId,
  computeCapability,
  computeMode,
  performanceState,
  virtualizationMode,
  hostVgpuMode,
  eccCurrent,
  eccPending,
  temperature,
  temperatureShutdown,
  temperatureSlowdown,
  temperatureMemoryMax,
  temperatureMax,
  clockGraphics,
  clockSm,
  clockMemory,
  clockVideo,
  maxClockGraphics,
  maxClockSm,
  maxClockMemory,
  maxClockVideo,
  utilizationGpu,
  utilizationMemory,
  utilizationEncoder,
  utilizationDecoder,
  memoryTotal,
  memoryUsed,
  retiredSingleBit,
  retiredDoubleBit,
  violationPower,
  violationThermal,
  throttleReasons,
  voltageGpu,
  voltageVdd,
  voltageMemory,
  ceMask,
  ceSupported,
  p2pRead,
  p2pWrite,
  count
};

enum class Text : unsigned {
  name,
  serial,
  uuid,
  partNumber,
  boardPn,
  firmwareVersion,
  hardwareVersion,
  manufactureDate,
  pciBusId,
  pciBusIdLegacy,
  count
};

constexpr std::size_t kNumberCount = static_cast<std::size_t>(Number::count);
constexpr std::size_t kTextCount = static_cast<std::size_t>(Text::count);

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

enum class Otherwise { constant, unavailable, derived };

// What may stand for a number.
struct NumberRule {
  std::uint64_t min = 0;
  std::uint64_t max = std::numeric_limits<std::uint32_t>::max();
  Form form = Form::plain;
  std::span<const Word> words = {};
};

struct NumberRow {
  std::string_view path;  // "group/name", or the name alone
  Number attribute;
  NumberRule rule;
  Otherwise otherwise;
  std::uint64_t value = 0;  // where `otherwise` is a constant
  // A signal that every GPU of a board sees alike.
  bool perBoard = false;
};

struct TextRow {
  std::string_view path;
  Text attribute;
  Otherwise otherwise;
  std::string_view value = {};  // where `otherwise` is a constant
};

// In the order of the enumerations.
std::span<const NumberRow> numberRows();
std::span<const TextRow> textRows();

// The groups that stand before the "/" of some path.
bool isAttributeGroup(std::string_view name);

extern const std::span<const Word> kSwitchWords;  // "enabled", "disabled"

}  // namespace zansim
