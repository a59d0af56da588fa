#include "collector/known_gpus.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace zanctl::collector {
namespace {

constexpr Moment kLongestBar{60'000};
constexpr Moment kFirstBar{1000};
// A library that makes up a UUID in every round must not fill the memory.
constexpr std::size_t kMaxLost = 256;

}  // namespace

std::vector<std::uint32_t> KnownGpus::order(std::uint32_t count) const {
  std::vector<std::uint32_t> indices(count);
  std::iota(indices.begin(), indices.end(), 0U);
  const auto rank = [this](std::uint32_t index) {
    if (bars_.contains(index)) return 2;
    return missed_.contains(index) ? 0 : 1;
  };
  std::stable_sort(indices.begin(), indices.end(),
                   [&](std::uint32_t a, std::uint32_t b) { return rank(a) < rank(b); });
  return indices;
}

bool KnownGpus::isBarred(std::uint32_t index, Moment now) const {
  const auto bar = bars_.find(index);
  return bar != bars_.end() && now < bar->second.until;
}

void KnownGpus::answered(std::uint32_t index) {
  bars_.erase(index);
  missed_.erase(index);
}

void KnownGpus::hung(std::uint32_t index, Moment now) {
  bars_[index] = {now + kLongestBar, kLongestBar};
}

void KnownGpus::crashed(std::uint32_t index, Moment now) {
  Bar& bar = bars_[index];
  bar.length = std::clamp(bar.length * 2, kFirstBar, kLongestBar);
  bar.until = now + bar.length;
}

std::string KnownGpus::uuidAt(std::uint32_t index) const {
  const auto last = std::find_if(seen_.rbegin(), seen_.rend(),
                                 [index](const Seen& seen) { return seen.index == index; });
  return last == seen_.rend() ? std::string() : last->uuid;
}

void KnownGpus::remember(const std::vector<Gpu>& gpus) {
  std::set<std::string_view> present;
  for (const Gpu& gpu : gpus) {
    if (gpu.state == GpuState::up) present.insert(gpu.uuid);
  }
  std::erase_if(seen_, [&](const Seen& seen) { return present.contains(seen.uuid); });
  if (seen_.size() > kMaxLost) seen_.erase(seen_.begin(), seen_.end() - kMaxLost);
  for (const Gpu& gpu : gpus) {
    if (gpu.state == GpuState::up && !gpu.uuid.empty()) seen_.push_back({gpu.index, gpu.uuid});
    if (uuidAt(gpu.index).empty()) {
      nameless_.insert(gpu.index);
    } else {
      nameless_.erase(gpu.index);
    }
  }
}

void KnownGpus::complete(std::vector<Gpu>& gpus) {
  remember(gpus);
  std::set<std::pair<std::uint32_t, std::string>> shown;
  for (Gpu& gpu : gpus) {
    // Where a GPU has taken the place of one that is gone, the latter stays behind.
    if (gpu.state != GpuState::up) gpu.uuid = uuidAt(gpu.index);
    shown.emplace(gpu.index, gpu.uuid);
  }
  const auto show = [&](std::uint32_t index, const std::string& uuid) {
    if (!shown.emplace(index, uuid).second) return;
    Gpu lost;
    lost.index = index;
    lost.counted = false;
    lost.state = GpuState::silent;
    lost.uuid = uuid;
    gpus.push_back(std::move(lost));
  };
  for (const Seen& seen : seen_) show(seen.index, seen.uuid);
  for (const std::uint32_t index : nameless_) show(index, "");
  std::stable_sort(gpus.begin(), gpus.end(),
                   [](const Gpu& a, const Gpu& b) { return a.index < b.index; });
}

}  // namespace zanctl::collector
