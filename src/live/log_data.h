// A recorded day: the samples of a stats log, by moment and GPU.
#pragma once

#include "live/history.h"
#include "live/model.h"
#include "stats_log/stats_format.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl::live {

enum class LogSeries : std::uint8_t {
  sm,
  memory,
  temperature,
  power,
  encoder,
  decoder,
  smClock,
  memoryClock
};
inline constexpr std::size_t kLogSeries = 8;

struct LogRange {
  TimeOfDay begin = 0;
  TimeOfDay end = 86'399;  // within the range
};

class LogData {
 public:
  LogData(GpuSelection selection, LogRange range)
      : selection_(std::move(selection)), range_(range) {}

  // Takes the next bytes of the file, which may end within a line.
  void add(std::string_view bytes);
  // Takes a last line that no newline ends.
  void finish();

  [[nodiscard]] std::size_t brokenLines() const { return brokenLines_; }
  // In the order of the file.
  [[nodiscard]] const std::vector<TimeOfDay>& moments() const { return moments_; }
  [[nodiscard]] const std::vector<std::uint32_t>& gpus() const { return gpus_; }  // indices

  // Of the GPU at this place, in W, C, percent and MHz; kNoValue where the log has none.
  [[nodiscard]] float value(std::size_t gpu, LogSeries series, std::size_t moment) const;
  // The greatest value of all GPUs.
  [[nodiscard]] float greatest(LogSeries series) const;

  // The first moment from that time on, else the last one.
  [[nodiscard]] std::size_t momentAt(TimeOfDay time) const;
  // The next moment after this one at which a value of a GPU leaves its usual band: what lies far
  // outside the middle half of its values. Empty without one.
  struct Outlier {
    std::size_t moment;
    std::size_t gpu;
    LogSeries series;
  };
  [[nodiscard]] std::optional<Outlier> nextOutlier(std::size_t moment) const;

  // The greatest values of equal stretches of time, from the first moment to the last.
  [[nodiscard]] std::vector<float> overview(std::size_t gpu, LogSeries series,
                                            std::size_t count) const;
  // The stretch that holds the moment.
  [[nodiscard]] std::size_t stretchOf(std::size_t moment, std::size_t count) const;

 private:
  using Values = std::array<std::uint16_t, kLogSeries>;
  struct Band {
    float low;
    float high;
  };

  void takeLine(std::string_view line);
  void takeRecord(const StatsRecord& record);
  std::size_t placeOf(std::uint32_t gpu);
  [[nodiscard]] Band bandOf(std::size_t gpu, LogSeries series, float leastReach) const;

  GpuSelection selection_;
  LogRange range_;
  std::string pending_;    // the beginning of a line
  bool overlong_ = false;  // of one that is longer than any record
  std::size_t brokenLines_ = 0;
  std::vector<TimeOfDay> moments_;
  std::vector<std::uint32_t> gpus_;
  std::size_t heldValues_ = 0;
  std::vector<std::vector<Values>> values_;  // by GPU, then moment; may be shorter than moments_
};

}  // namespace zanctl::live
