#include "collector/gpu_readings.h"

#include "device/attributes.h"
#include "device/controller.h"
#include "device/format.h"
#include "device/process.h"
#include "device/readers.h"
#include "device/session.h"
#include "device/topology_reader.h"
#include "device/vgpu_readers.h"

#include <algorithm>
#include <map>
#include <set>

namespace zanctl::collector {
namespace {

constexpr std::size_t kMaxNameBytes = 128;

// Turns answers into readings, and notes whether there was an answer at all.
class Answers {
 public:
  [[nodiscard]] bool any() const { return any_; }

  // What the library answered, without judging it.
  template <typename Value>
  std::optional<Value> raw(std::optional<Value> value) {
    any_ = any_ || value.has_value();
    return value;
  }

  // All ones are how the library says that it does not know.
  Number number(Number value) { return raw(value) == kUnavailable ? std::nullopt : value; }
  BigNumber bigNumber(BigNumber value) {
    return raw(value) == kUnavailable64 ? std::nullopt : value;
  }
  Number unlessZero(Number value) { return number(value) == 0U ? std::nullopt : number(value); }
  Number upTo(std::uint32_t most, Number value) {
    const Number known = number(value);
    return known && *known > most ? std::nullopt : known;
  }

  // A text that fills its reader's buffer has no end of its own.
  Text text(std::size_t bufferSize, Text value) {
    return raw(value) && value->size() >= bufferSize ? std::nullopt : value;
  }

 private:
  bool any_ = false;
};

constexpr std::size_t kNameBuffer = 64;
constexpr std::size_t kNumberBuffer = 30;  // serial and part number
constexpr std::size_t kUuidBuffer = 80;
constexpr std::size_t kFirmwareBuffer = 128;

Identity readIdentity(Answers& answers) {
  Identity identity;
  identity.name = answers.text(kNameBuffer, attributes::name());
  identity.serial = answers.text(kNumberBuffer, attributes::serial());
  identity.partNumber = answers.text(kNumberBuffer, attributes::partNumber());
  const auto pci = answers.raw(attributes::pci());
  if (pci && pci->domain != kUnavailable && pci->bus != kUnavailable &&
      pci->device != kUnavailable) {
    identity.pciBusId = busIdText(*pci);
  }
  identity.minorNumber = answers.number(attributes::minorNumber());
  identity.firmwareVersion = answers.text(kFirmwareBuffer, attributes::firmwareVersion());
  return identity;
}

Temperatures readTemperatures(Answers& answers) {
  const auto threshold = [&](nvmlTemperatureThresholds_t which) {
    return answers.number(attributes::temperatureThreshold(which));
  };
  Temperatures temperatures;
  temperatures.gpu = answers.number(attributes::temperature());
  temperatures.board = answers.number(attributes::boardTemperature());
  if (temperatures.board == kUnavailableBoardTemperature) temperatures.board.reset();
  temperatures.shutdown = threshold(NVML_TEMPERATURE_THRESHOLD_SHUTDOWN);
  temperatures.slowdown = threshold(NVML_TEMPERATURE_THRESHOLD_SLOWDOWN);
  temperatures.maxOperating = threshold(NVML_TEMPERATURE_THRESHOLD_GPU_MAX);
  temperatures.fanSpeed = answers.number(attributes::fanSpeed());
  return temperatures;
}

// As the reports print it: the digits of both parts around a point.
std::optional<double> volts(const std::optional<attributes::Voltage>& voltage) {
  if (!voltage || voltage->integerPart == kUnavailable || voltage->fractionPart == kUnavailable) {
    return std::nullopt;
  }
  double divisor = 1;
  while (divisor <= voltage->fractionPart) divisor *= 10;
  // One quotient of whole numbers is the number nearest to the digits.
  divisor = std::max(divisor, 10.0);
  return (voltage->integerPart * divisor + voltage->fractionPart) / divisor;
}

Power readPower(Answers& answers, const BoardPlace& board) {
  Power power;
  power.usage = answers.number(attributes::powerUsage());
  power.enforcedLimit = answers.number(attributes::enforcedPowerLimit());
  power.managementLimit = answers.number(attributes::powerManagementLimit());
  if (board.id && board.position == 0U) {
    power.boardUsage = answers.unlessZero(attributes::boardPowerUsage());
    power.boardLimit = answers.unlessZero(attributes::boardPowerLimit());
  }
  power.gpuVolts = volts(answers.raw(attributes::gpuVoltage()));
  power.memoryVolts = volts(answers.raw(attributes::memoryVoltage()));
  power.vcc12Volts = volts(answers.raw(attributes::vddVoltage()));
  return power;
}

Clocks readClocks(Answers& answers) {
  Clocks clocks;
  clocks.sm = answers.number(attributes::clockInfo(NVML_CLOCK_SM));
  clocks.memory = answers.number(attributes::clockInfo(NVML_CLOCK_MEM));
  clocks.maxSm = answers.number(attributes::maxClockInfo(NVML_CLOCK_SM));
  clocks.maxMemory = answers.number(attributes::maxClockInfo(NVML_CLOCK_MEM));
  constexpr std::uint32_t kSlowestState = 15;
  clocks.performanceState = answers.upTo(kSlowestState, attributes::performanceState());
  clocks.throttleReasons = answers.bigNumber(attributes::throttleReasons());
  clocks.powerViolation = answers.bigNumber(attributes::violationTime(NVML_PERF_POLICY_POWER));
  clocks.thermalViolation = answers.bigNumber(attributes::violationTime(NVML_PERF_POLICY_THERMAL));
  return clocks;
}

Utilization readUtilization(Answers& answers) {
  Utilization utilization;
  if (const auto rates = answers.raw(attributes::utilization())) {
    utilization.sm = answers.number(rates->gpu);
    utilization.memory = answers.number(rates->memory);
  }
  utilization.encoder = answers.number(attributes::encoderUtilization());
  utilization.decoder = answers.number(attributes::decoderUtilization());
  return utilization;
}

Engines readEngines(Answers& answers) {
  Engines engines;
  // A count beyond what there is room for is garbage.
  const auto jpu = answers.raw(attributes::jpuUtilization());
  for (std::uint32_t i = 0; jpu && jpu->count <= kZanmlMaxEngines && i < jpu->count; ++i) {
    engines.jpuBusy.push_back(answers.bigNumber(jpu->busyTime[i]));
  }
  const auto vpu = answers.raw(attributes::vpuUtilization());
  if (!vpu) return engines;
  engines.vpuTotal = answers.unlessZero(vpu->total);
  for (std::uint32_t i = 0; vpu->count <= kZanmlMaxEngines && i < vpu->count; ++i) {
    engines.vpuBusy.push_back(answers.number(vpu->busy[i]));
  }
  return engines;
}

Memory readMemory(Answers& answers) {
  Memory memory;
  if (const auto bytes = answers.raw(attributes::memory())) {
    memory.total = answers.bigNumber(bytes->total);
    memory.used = answers.bigNumber(bytes->used);
  }
  if (const auto ecc = answers.raw(attributes::eccMode())) {
    memory.eccEnabled = answers.upTo(1, ecc->current);
    memory.eccPending = answers.upTo(1, ecc->pending);
  }
  const auto pages = [&](nvmlPageRetirementCause_t cause) -> BigNumber {
    const BigNumber count = answers.raw(attributes::retiredPageCount(cause));
    return count == kUnavailable ? std::nullopt : count;
  };
  memory.singleBitPages = pages(NVML_PAGE_RETIREMENT_CAUSE_MULTIPLE_SINGLE_BIT_ECC_ERRORS);
  memory.doubleBitPages = pages(NVML_PAGE_RETIREMENT_CAUSE_DOUBLE_BIT_ECC_ERROR);
  return memory;
}

Pcie readPcie(Answers& answers) {
  return {answers.unlessZero(attributes::pcieGenCurrent()),
          answers.unlessZero(attributes::pcieGenMax()),
          answers.unlessZero(attributes::pcieWidthCurrent()),
          answers.unlessZero(attributes::pcieWidthMax())};
}

PcieThroughput readPcieThroughput(Answers& answers) {
  return {answers.number(attributes::pcieThroughput(NVML_PCIE_UTIL_TX_BYTES)),
          answers.number(attributes::pcieThroughput(NVML_PCIE_UTIL_RX_BYTES))};
}

// Whole characters, as many as fit.
std::string cutName(std::string name) {
  if (name.size() <= kMaxNameBytes) return name;
  std::size_t end = kMaxNameBytes;
  while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0U) == 0x80U) --end;
  name.resize(end);
  return name;
}

std::vector<Process> listedProcesses(const std::vector<nvmlProcessInfo_t>& list, Groups groups) {
  const bool everyHolder = (groups & kHolders) != 0;
  const bool named = (groups & (kProcessNames | kHolders)) != 0;
  std::map<std::uint32_t, BigNumber> memoryByPid;
  for (const nvmlProcessInfo_t& entry : list) {
    const auto [process, isNew] = memoryByPid.try_emplace(entry.pid, std::nullopt);
    if (entry.usedGpuMemory != kUnavailable64) {
      process->second = process->second.value_or(0) + entry.usedGpuMemory;
    }
  }
  if (everyHolder) {
    for (const std::uint32_t pid : reader().readAllProcesses()) memoryByPid.try_emplace(pid);
    memoryByPid.erase(ownProcessId());
  }
  if (named) refreshVgpuProcessTable();
  std::vector<Process> processes;
  for (const auto& [pid, memory] : memoryByPid) {
    if (!everyHolder && !processExists(static_cast<std::int32_t>(pid))) continue;
    processes.push_back({pid, memory, named ? cutName(programName(pid)) : std::string()});
  }
  return processes;
}

void readProcesses(Answers& answers, Groups groups, Readings& readings) {
  const auto list = answers.raw(attributes::computeProcesses());
  if (!list) return;
  readings.processCount = static_cast<std::uint32_t>(list->size());
  if ((groups & ~kProcesses) == 0 || list->size() > kMaxListed) return;
  readings.processes = listedProcesses(*list, groups);
}

std::map<std::uint32_t, Utilization> lastVgpuSamples(Answers& answers) {
  std::map<std::uint32_t, Utilization> samples;
  for (const VgpuSample& sample : readVgpuSamples()) {
    const VgpuUtilization& shares = sample.utilization;
    samples[sample.instanceId] = {answers.number(shares.sm), answers.number(shares.memory),
                                  answers.number(shares.encoder), answers.number(shares.decoder)};
  }
  return samples;
}

void readVgpus(Answers& answers, Readings& readings) {
  const auto mode = answers.raw(attributes::virtualizationMode());
  if (mode != NVML_GPU_VIRTUALIZATION_MODE_VGPU && mode != NVML_GPU_VIRTUALIZATION_MODE_HOST_VGPU) {
    return;
  }
  const auto ids = answers.raw(activeVgpuIds());
  if (!ids || ids->size() > kMaxVgpus) return;
  readings.vgpuCount = static_cast<std::uint32_t>(ids->size());
  if (ids->empty()) return;
  const auto samples = lastVgpuSamples(answers);
  for (const std::uint32_t id : std::set(ids->begin(), ids->end())) {
    const auto sample = samples.find(id);
    readings.vgpus.push_back({id, answers.text(kZanmlVmTextSize, vgpuVmName(id)),
                              answers.text(kZanmlVgpuTypeTextSize, vgpuTypeName(id)),
                              answers.bigNumber(vgpuMemoryUsed(id)),
                              sample == samples.end() ? Utilization() : sample->second});
  }
}

void readGroups(Answers& answers, Groups groups, Readings& readings) {
  const auto wants = [groups](Groups any) { return (groups & any) != 0; };
  if (wants(kIdentity | kPower)) {
    readings.board = {answers.unlessZero(attributes::boardId()),
                      answers.number(attributes::boardPosition())};
  }
  if (wants(kIdentity)) readings.identity = readIdentity(answers);
  if (wants(kTemperature)) readings.temperature = readTemperatures(answers);
  if (wants(kPower)) readings.power = readPower(answers, readings.board);
  if (wants(kClock)) readings.clock = readClocks(answers);
  if (wants(kUtilization)) readings.utilization = readUtilization(answers);
  if (wants(kEngines)) readings.engines = readEngines(answers);
  if (wants(kMemory)) readings.memory = readMemory(answers);
  if (wants(kPcie)) readings.pcie = readPcie(answers);
  if (wants(kPcieThroughput)) readings.pcieThroughput = readPcieThroughput(answers);
  constexpr Groups kAnyProcesses = kProcesses | kProcessList | kProcessNames | kHolders;
  if (wants(kAnyProcesses)) readProcesses(answers, groups & kAnyProcesses, readings);
  if (wants(kVgpu)) readVgpus(answers, readings);
}

// A GPU of which nothing that was asked for is known may still answer.
void probe(Answers& answers) {
  if (!answers.any()) answers.raw(attributes::name());
  if (!answers.any()) answers.raw(attributes::pci());
  if (!answers.any()) answers.raw(attributes::memory());
  if (!answers.any()) answers.raw(attributes::temperature());
}

// The marker that GPU 0 keeps.
Number readMarker(Answers& answers) {
  const auto marker = answers.raw(controller().getResetStatus());
  return marker ? Number(*marker == 1 ? 1 : 0) : std::nullopt;
}

}  // namespace

GpuAnswer readGpu(std::uint32_t index, Groups groups) {
  session().currentDevice = index;
  GpuAnswer answer;
  answer.index = index;
  if (!fetchCurrentHandle()) return answer;
  Answers answers;
  answer.readings.uuid = answers.text(kUuidBuffer, attributes::uuid());
  if (index == 0) answer.resetInProgress = readMarker(answers);
  readGroups(answers, groups, answer.readings);
  probe(answers);
  answer.answered = answers.any();
  if (!answer.answered) session().handles[index] = nullptr;
  return answer;
}

GpuAnswer readLinks(std::uint32_t index) {
  session().currentDevice = index;
  GpuAnswer answer;
  answer.index = index;
  answer.answered = true;
  for (std::uint32_t other = 0; other < session().handles.size(); ++other) {
    if (other == index) continue;
    const auto level = topology().readCommonAncestor(other);
    if (level) answer.readings.links.push_back({other, static_cast<std::uint32_t>(*level)});
  }
  return answer;
}

}  // namespace zanctl::collector
