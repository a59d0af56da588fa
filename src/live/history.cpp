#include "live/history.h"

#include <algorithm>

namespace zanctl::live {

void History::add(const std::array<float, kSeries.size()>& values) {
  if (values_.size() < kCapacity) {
    values_.push_back(values);
    return;
  }
  values_[next_] = values;
  next_ = (next_ + 1) % kCapacity;
}

std::vector<float> History::last(Series series, std::size_t count) const {
  std::vector<float> result(count, kNoValue);
  const std::size_t held = std::min(count, values_.size());
  for (std::size_t back = 1; back <= held; ++back) {
    const std::size_t place = (next_ + values_.size() - back) % values_.size();
    result[count - back] = values_[place][static_cast<std::size_t>(series)];
  }
  return result;
}

}  // namespace zanctl::live
