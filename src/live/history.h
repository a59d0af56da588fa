// The last values of a GPU, oldest first.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace zanctl::live {

enum class Series : std::uint8_t { use, memory, temperature, power };
inline constexpr std::array kSeries = {Series::use, Series::memory, Series::temperature,
                                       Series::power};

// A value that is not known.
inline constexpr float kNoValue = std::numeric_limits<float>::quiet_NaN();
inline bool isKnown(float value) { return !std::isnan(value); }
template <typename Number>
float valueOf(const std::optional<Number>& value) {
  return value ? static_cast<float>(*value) : kNoValue;
}

// Percent, MiB, C and W, one value a round.
class History {
 public:
  // As many as the widest graph of the widest terminal shows.
  static constexpr std::size_t kCapacity = 1024;

  void add(const std::array<float, kSeries.size()>& values);
  // The last so many of the values, oldest first; those before the first are not known.
  [[nodiscard]] std::vector<float> last(Series series, std::size_t count) const;
  [[nodiscard]] std::size_t size() const { return values_.size(); }

 private:
  std::vector<std::array<float, kSeries.size()>> values_;
  std::size_t next_ = 0;  // the oldest one's place once all places are taken
};

}  // namespace zanctl::live
