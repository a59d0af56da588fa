// The metrics, each a family in one table that every text format is written from.
#pragma once

#include "collector/groups.h"
#include "collector/snapshot.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl::exporter {

// A snapshot and what of it is shown.
class Scrape {
 public:
  Scrape(const collector::Snapshot& snapshot, collector::Groups groups);

  [[nodiscard]] const collector::Snapshot& snapshot() const { return snapshot_; }
  [[nodiscard]] bool shows(collector::Groups groups) const {
    return groups == 0 || (groups_ & groups) != 0;
  }
  // Of the snapshot's n-th GPU: `gpu="0",uuid="GPU-..."`.
  [[nodiscard]] std::string_view gpuLabels(std::size_t n) const { return gpuLabels_[n]; }

 private:
  const collector::Snapshot& snapshot_;
  collector::Groups groups_;
  std::vector<std::string> gpuLabels_;
};

// Where a family puts its samples: labels as they stand between the braces, and values in base
// units. An empty value is no sample.
class Sink {
 public:
  virtual ~Sink() = default;
  virtual void sample(std::string_view labels, std::optional<double> value) = 0;
  // The same with labels in two parts.
  virtual void sample(std::string_view labels, std::string_view furtherLabels,
                      std::optional<double> value) = 0;
};

enum class Kind { gauge, counter, info };

// A series that every GPU may have.
struct GpuSeries {
  std::string_view label;  // `sensor="board"`, or empty
  std::optional<double> (*value)(const collector::Readings&);
};

struct Family {
  // As the text formats have it, with "_total" of a counter and "_info".
  std::string_view name;
  Kind kind;
  collector::Groups groups;  // it is shown with any of these; 0 for always
  std::string_view help;
  std::span<const GpuSeries> gpuSeries;
  void (*others)(const Scrape&, Sink&);  // null where the GPUs' series are all
};

std::span<const Family> families();

void writeSamples(const Family& family, const Scrape& scrape, Sink& sink);

}  // namespace zanctl::exporter
