#include "live/log_data.h"

#include "stats_log/line_reader.h"

#include <algorithm>
#include <limits>

namespace zanctl::live {
namespace {

constexpr std::uint16_t kNone = std::numeric_limits<std::uint16_t>::max();

std::uint16_t held(std::optional<std::uint32_t> value) {
  return value ? static_cast<std::uint16_t>(std::min<std::uint32_t>(*value, kNone - 1)) : kNone;
}

// The series that have a usual band, and how far a value is out of it at least: those that hardly
// ever move have one, too.
struct Banded {
  LogSeries series;
  float reach;
};
constexpr std::array kBanded = std::to_array<Banded>({{LogSeries::sm, 10},
                                                      {LogSeries::memory, 10},
                                                      {LogSeries::temperature, 5},
                                                      {LogSeries::power, 20},
                                                      {LogSeries::smClock, 50}});

std::size_t indexOf(LogSeries series) { return static_cast<std::size_t>(series); }

}  // namespace

void LogData::add(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t end = bytes.find('\n');
    const std::string_view part = bytes.substr(0, end);
    if (pending_.size() + part.size() > LineReader::kLongestLine) {
      overlong_ = true;
      pending_.clear();
    } else if (!overlong_) {
      pending_ += part;
    }
    if (end == std::string_view::npos) return;
    bytes.remove_prefix(end + 1);
    finish();
  }
}

void LogData::finish() {
  if (overlong_) {
    ++brokenLines_;
  } else if (!pending_.empty()) {
    takeLine(pending_);
  }
  overlong_ = false;
  pending_.clear();
}

void LogData::takeLine(std::string_view line) {
  if (line == kStatsHeader1 || line == kStatsHeader2) return;
  const auto record = parseStatsLine(line);
  if (!record) {
    ++brokenLines_;
  } else if (record->time >= range_.begin && record->time <= range_.end &&
             selection_.hasIndex(record->gpu)) {
    takeRecord(*record);
  }
}

// A cycle has one time and each GPU once.
void LogData::takeRecord(const StatsRecord& record) {
  // A GPU beyond these is a broken line that looks sound.
  constexpr std::size_t kMostGpus = 4096;
  const bool known = std::find(gpus_.begin(), gpus_.end(), record.gpu) != gpus_.end();
  if (!known && gpus_.size() >= kMostGpus) {
    ++brokenLines_;
    return;
  }
  std::vector<Values>& values = values_[placeOf(record.gpu)];
  const bool begins =
      moments_.empty() || moments_.back() != record.time || values.size() == moments_.size();
  const std::size_t moment = moments_.size() - (begins ? 0 : 1);
  // Gaps are held, too, and a file could have many more of them than lines.
  constexpr std::size_t kMostValues = std::size_t{1} << 24U;
  const std::size_t added = moment + 1 - values.size();
  if (added > kMostValues - heldValues_) {
    ++brokenLines_;
    return;
  }
  heldValues_ += added;
  if (begins) moments_.push_back(record.time);
  Values none;
  none.fill(kNone);
  values.resize(moment, none);
  const MonitorReading& r = record.reading;
  values.push_back({held(r.gpuUtil), held(r.memUtil), held(r.temperature), held(r.power),
                    held(r.encUtil), held(r.decUtil), held(r.smClock), held(r.memClock)});
}

std::size_t LogData::placeOf(std::uint32_t gpu) {
  const auto at = std::lower_bound(gpus_.begin(), gpus_.end(), gpu);
  const auto place = at - gpus_.begin();
  if (at == gpus_.end() || *at != gpu) {
    gpus_.insert(at, gpu);
    values_.insert(values_.begin() + place, std::vector<Values>());
  }
  return static_cast<std::size_t>(place);
}

float LogData::value(std::size_t gpu, LogSeries series, std::size_t moment) const {
  if (gpu >= values_.size() || moment >= values_[gpu].size()) return kNoValue;
  const std::uint16_t value = values_[gpu][moment][indexOf(series)];
  return value == kNone ? kNoValue : static_cast<float>(value);
}

float LogData::greatest(LogSeries series) const {
  float greatest = 0;
  for (const auto& values : values_) {
    for (const Values& sample : values) {
      const std::uint16_t value = sample[indexOf(series)];
      if (value != kNone) greatest = std::max(greatest, static_cast<float>(value));
    }
  }
  return greatest;
}

std::size_t LogData::momentAt(TimeOfDay time) const {
  const auto at = std::find_if(moments_.begin(), moments_.end(),
                               [time](TimeOfDay moment) { return moment >= time; });
  if (moments_.empty()) return 0;
  return std::min(static_cast<std::size_t>(at - moments_.begin()), moments_.size() - 1);
}

LogData::Band LogData::bandOf(std::size_t gpu, LogSeries series, float leastReach) const {
  std::vector<float> known;
  known.reserve(values_[gpu].size());
  for (const Values& sample : values_[gpu]) {
    if (sample[indexOf(series)] != kNone)
      known.push_back(static_cast<float>(sample[indexOf(series)]));
  }
  constexpr std::size_t kEnough = 20;
  if (known.size() < kEnough) return {0, std::numeric_limits<float>::max()};
  const auto quartile = [&known](std::size_t which) {
    const auto at = known.begin() + static_cast<std::ptrdiff_t>(known.size() * which / 4);
    std::nth_element(known.begin(), at, known.end());
    return *at;
  };
  const float low = quartile(1);
  const float high = quartile(3);
  constexpr float kWidths = 1.5F;
  const float reach = std::max(kWidths * (high - low), leastReach);
  return {low - reach, high + reach};
}

std::optional<LogData::Outlier> LogData::nextOutlier(std::size_t moment) const {
  std::optional<Outlier> next;
  for (std::size_t gpu = 0; gpu < gpus_.size(); ++gpu) {
    for (const auto& [series, reach] : kBanded) {
      const Band band = bandOf(gpu, series, reach);
      const auto isOut = [&, series = series](std::size_t at) {
        const float here = value(gpu, series, at);
        return isKnown(here) && (here < band.low || here > band.high);
      };
      const std::size_t end = next ? next->moment : values_[gpu].size();
      bool before = isOut(moment);
      for (std::size_t at = moment + 1; at < end; ++at) {
        const bool out = isOut(at);
        if (out && !before) {
          next = {at, gpu, series};
          break;
        }
        before = out;
      }
    }
  }
  return next;
}

std::size_t LogData::stretchOf(std::size_t moment, std::size_t count) const {
  if (moments_.empty() || count == 0) return 0;
  const TimeOfDay first = moments_.front();
  const std::uint64_t span = std::max(moments_.back(), first) - first;
  if (span == 0) return 0;
  const TimeOfDay time = std::clamp(moments_[moment], first, std::max(moments_.back(), first));
  return static_cast<std::size_t>((time - first) * (count - 1) / span);
}

std::vector<float> LogData::overview(std::size_t gpu, LogSeries series, std::size_t count) const {
  std::vector<float> stretches(count, kNoValue);
  if (gpu >= values_.size()) return stretches;
  for (std::size_t moment = 0; moment < values_[gpu].size() && count > 0; ++moment) {
    const float here = value(gpu, series, moment);
    if (!isKnown(here)) continue;
    // A value holds until the next sample, unless that is too far away to say so.
    constexpr TimeOfDay kLongestPause = 20 * 60;
    const bool goesOn = moment + 1 < moments_.size() && moments_[moment + 1] > moments_[moment] &&
                        moments_[moment + 1] - moments_[moment] <= kLongestPause;
    const std::size_t first = stretchOf(moment, count);
    const std::size_t end = goesOn ? stretchOf(moment + 1, count) : first;
    for (std::size_t at = first; at < std::max(end, first + 1); ++at) {
      stretches[at] = isKnown(stretches[at]) ? std::max(stretches[at], here) : here;
    }
  }
  return stretches;
}

}  // namespace zanctl::live
