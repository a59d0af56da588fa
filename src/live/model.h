// What the screen shows of the machine: the last snapshot, and what earlier ones tell.
#pragma once

#include "collector/snapshot.h"
#include "live/history.h"

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace zanctl::live {

enum class GpuCondition : std::uint8_t { up, lost, hung };

// To what value the graphs go: the last thresholds and limits that were known, 0 before.
struct GraphRanges {
  std::uint64_t memory = 0;       // bytes
  std::uint32_t temperature = 0;  // C
  std::uint32_t power = 0;        // W
};

struct GpuEntry {
  std::uint32_t index = 0;
  std::string uuid;  // empty when unknown
  GpuCondition condition = GpuCondition::up;
  // When it was first seen that way; 0 when it was so from the start.
  std::time_t since = 0;
  bool current = true;  // false when the last round had no time for it
  // Of a GPU that is not up only the identity and the links are known.
  collector::Readings readings;
  GraphRanges ranges;
  History history;
};

// A compute process, or a vGPU.
struct ProcessRow {
  std::uint32_t gpu = 0;
  std::uint32_t pid = 0;   // 0 for a vGPU
  std::uint32_t vgpu = 0;  // its id
  bool servesVgpu = false;
  collector::BigNumber memoryUsed;  // bytes
  collector::Number use;            // percent of the SMs; of vGPUs only
  std::string vmName;               // of vGPUs only
  std::string vgpuType;

  [[nodiscard]] bool isVgpu() const { return pid == 0; }
};

// Which row is meant, also in the snapshots to come.
struct RowKey {
  std::uint32_t gpu = 0;
  std::uint32_t pid = 0;
  std::uint32_t vgpu = 0;
  bool operator==(const RowKey&) const = default;
  bool operator<(const RowKey& other) const {
    return std::tie(gpu, pid, vgpu) < std::tie(other.gpu, other.pid, other.vgpu);
  }
};
inline RowKey keyOf(const ProcessRow& row) { return {row.gpu, row.pid, row.vgpu}; }

// Sums over what is known; empty when nothing is.
struct Totals {
  collector::BigNumber powerUsed;   // W, of a board once
  collector::BigNumber powerLimit;  // W, of those whose use is known
  collector::BigNumber memoryUsed;  // bytes
  collector::BigNumber memoryTotal;
};

// Power as the machine has it: the board's on its first GPU, none on its others, the GPU's own
// where the board is not known.
struct PowerFigures {
  collector::Number used;   // W
  collector::Number limit;  // W
  bool ofBoard = false;
  bool elsewhere = false;  // on the board's first GPU
};
PowerFigures powerOf(const collector::Readings& readings);

// Which GPUs to show: a list of indices, UUIDs and bus ids, as the option -i has it.
class GpuSelection {
 public:
  explicit GpuSelection(std::string_view list = {});
  [[nodiscard]] bool isEverything() const { return ids_.empty(); }
  [[nodiscard]] bool has(const collector::Gpu& gpu) const;
  [[nodiscard]] bool hasIndex(std::uint32_t index) const;

 private:
  std::vector<std::string> ids_;
};

class Model {
 public:
  explicit Model(GpuSelection selection = GpuSelection()) : selection_(std::move(selection)) {}

  // Of a round that has ended.
  void take(const collector::Snapshot& snapshot);

  [[nodiscard]] bool isEmpty() const { return rounds_ == 0; }
  [[nodiscard]] const std::vector<GpuEntry>& gpus() const { return gpus_; }
  [[nodiscard]] const std::vector<ProcessRow>& processes() const { return processes_; }
  [[nodiscard]] const Totals& totals() const { return totals_; }
  [[nodiscard]] bool hasVgpus() const { return hasVgpus_; }
  // How often a GPU has become another than it was: up, lost or hung.
  [[nodiscard]] std::uint64_t turns() const { return turns_; }

  [[nodiscard]] collector::LibraryState library() const { return library_; }
  [[nodiscard]] const std::string& problem() const { return problem_; }
  [[nodiscard]] const collector::Text& driverVersion() const { return driverVersion_; }
  [[nodiscard]] const collector::Text& libraryVersion() const { return libraryVersion_; }
  [[nodiscard]] bool resetInProgress() const { return resetInProgress_; }
  [[nodiscard]] std::int64_t takenAt() const { return takenAt_; }  // ms since 1970

 private:
  GpuEntry* find(const collector::Gpu& gpu);
  void update(GpuEntry& entry, const collector::Gpu& gpu);
  void listProcesses(const GpuEntry& entry);
  void addUp();

  GpuSelection selection_;
  std::vector<GpuEntry> gpus_;
  std::vector<ProcessRow> processes_;
  Totals totals_;
  bool hasVgpus_ = false;
  std::uint64_t turns_ = 0;
  std::size_t rounds_ = 0;
  collector::LibraryState library_ = collector::LibraryState::unknown;
  std::string problem_;
  collector::Text driverVersion_;
  collector::Text libraryVersion_;
  bool resetInProgress_ = false;
  std::int64_t takenAt_ = 0;
};

}  // namespace zanctl::live
