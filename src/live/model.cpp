#include "live/model.h"

#include "collector/gpu_names.h"

#include <algorithm>

namespace zanctl::live {
namespace {

using collector::BigNumber;
using collector::Gpu;
using collector::GpuState;
using collector::Number;
using collector::Readings;

constexpr std::uint64_t kBytesPerMiB = std::uint64_t{1024} * 1024;

template <typename Figure>
void add(BigNumber& sum, const std::optional<Figure>& figure) {
  if (figure) sum = sum.value_or(0) + *figure;
}

std::array<float, kSeries.size()> valuesOf(const Readings& readings) {
  const BigNumber& used = readings.memory.used;
  return {valueOf(readings.utilization.sm),
          valueOf(used ? BigNumber(*used / kBytesPerMiB) : std::nullopt),
          valueOf(readings.temperature.gpu), valueOf(readings.power.usage)};
}

}  // namespace

PowerFigures powerOf(const Readings& readings) {
  const auto& [id, position] = readings.board;
  if (!id || !position) return {readings.power.usage, readings.power.enforcedLimit, false, false};
  if (*position != 0) return {{}, {}, true, true};
  return {readings.power.boardUsage, readings.power.boardLimit, true, false};
}

GpuSelection::GpuSelection(std::string_view list) {
  while (!list.empty()) {
    const std::string_view id = list.substr(0, list.find(','));
    list.remove_prefix(std::min(id.size() + 1, list.size()));
    if (!id.empty()) ids_.emplace_back(id);
  }
}

bool GpuSelection::has(const Gpu& gpu) const {
  return hasIndex(gpu.index) || std::any_of(ids_.begin(), ids_.end(), [&gpu](const auto& id) {
           return collector::isNamed(gpu, id);
         });
}

bool GpuSelection::hasIndex(std::uint32_t index) const {
  return isEverything() || std::any_of(ids_.begin(), ids_.end(), [index](const std::string& id) {
           return collector::namesIndex(id, index);
         });
}

void Model::take(const collector::Snapshot& snapshot) {
  takenAt_ = snapshot.startedAt;
  library_ = snapshot.library;
  problem_ = snapshot.problem;
  if (snapshot.driverVersion) driverVersion_ = snapshot.driverVersion;
  if (snapshot.libraryVersion) libraryVersion_ = snapshot.libraryVersion;
  resetInProgress_ = snapshot.resetInProgress == 1U;
  processes_.clear();
  std::vector<bool> seen(gpus_.size());
  for (const Gpu& gpu : snapshot.gpus) {
    GpuEntry* entry = find(gpu);
    if (entry == nullptr) {
      if (!selection_.has(gpu)) continue;
      entry = &gpus_.emplace_back();
      entry->index = gpu.index;
      seen.push_back(false);
    }
    seen[static_cast<std::size_t>(entry - gpus_.data())] = true;
    update(*entry, gpu);
  }
  // Those that a machine without its library does not list at all.
  for (std::size_t i = 0; i < gpus_.size(); ++i) {
    Gpu silent;
    silent.state = GpuState::silent;
    if (!seen[i]) update(gpus_[i], silent);
  }
  std::stable_sort(gpus_.begin(), gpus_.end(),
                   [](const GpuEntry& a, const GpuEntry& b) { return a.index < b.index; });
  for (const GpuEntry& entry : gpus_) listProcesses(entry);
  addUp();
  ++rounds_;
}

// A GPU that was never up has no UUID until it is.
GpuEntry* Model::find(const Gpu& gpu) {
  const auto entry = std::find_if(gpus_.begin(), gpus_.end(), [&gpu](const GpuEntry& known) {
    const bool same = known.uuid == gpu.uuid || known.uuid.empty() || gpu.uuid.empty();
    return known.index == gpu.index && same;
  });
  return entry == gpus_.end() ? nullptr : &*entry;
}

void Model::update(GpuEntry& entry, const Gpu& gpu) {
  if (!gpu.uuid.empty()) entry.uuid = gpu.uuid;
  entry.current = gpu.state != GpuState::unasked && gpu.state != GpuState::pending;
  if (!entry.current) {
    entry.history.add(valuesOf({}));
    return;
  }
  const GpuCondition before = entry.condition;
  entry.condition = gpu.state == GpuState::up     ? GpuCondition::up
                    : gpu.state == GpuState::hung ? GpuCondition::hung
                                                  : GpuCondition::lost;
  if (entry.condition != before) ++turns_;
  if (entry.condition == GpuCondition::up) {
    // Links stay what they are, and are not asked for in every round.
    auto links = std::move(entry.readings.links);
    entry.readings = gpu.readings;
    if (entry.readings.links.empty()) entry.readings.links = std::move(links);
    const Readings& r = entry.readings;
    entry.ranges.memory = r.memory.total.value_or(entry.ranges.memory);
    entry.ranges.temperature = r.temperature.slowdown.value_or(entry.ranges.temperature);
    entry.ranges.power = r.power.enforcedLimit.value_or(entry.ranges.power);
  } else {
    if (entry.condition != before) entry.since = rounds_ == 0 ? 0 : takenAt_ / 1000;
    Readings known;
    known.identity = std::move(entry.readings.identity);
    known.links = std::move(entry.readings.links);
    entry.readings = std::move(known);
  }
  entry.history.add(valuesOf(entry.readings));
}

void Model::listProcesses(const GpuEntry& entry) {
  if (entry.readings.processes) {
    for (const collector::Process& process : *entry.readings.processes) {
      ProcessRow& row = processes_.emplace_back();
      row.gpu = entry.index;
      row.pid = process.pid;
      row.servesVgpu = process.name == "vgpu";
      row.memoryUsed = process.memoryUsed;
    }
  }
  for (const collector::Vgpu& vgpu : entry.readings.vgpus) {
    ProcessRow& row = processes_.emplace_back();
    row.gpu = entry.index;
    row.vgpu = vgpu.id;
    row.memoryUsed = vgpu.memoryUsed;
    row.use = vgpu.utilization.sm;
    row.vmName = vgpu.vmName.value_or("");
    row.vgpuType = vgpu.typeName.value_or("");
  }
}

void Model::addUp() {
  totals_ = {};
  hasVgpus_ = false;
  for (const GpuEntry& entry : gpus_) {
    const Readings& readings = entry.readings;
    const PowerFigures power = powerOf(readings);
    add(totals_.powerUsed, power.used);
    if (power.used) add(totals_.powerLimit, power.limit);
    add(totals_.memoryUsed, readings.memory.used);
    if (readings.memory.used) add(totals_.memoryTotal, readings.memory.total);
    hasVgpus_ = hasVgpus_ || readings.vgpuCount.has_value();
  }
}

}  // namespace zanctl::live
