// What earlier rounds tell of the GPUs: their UUIDs, and which of them hung.
#pragma once

#include "collector/snapshot.h"
#include "collector/wakeup.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace zanctl::collector {

class KnownGpus {
 public:
  // The order in which to ask so many GPUs: those that a round before had no time for, the others,
  // and behind them those that hung.
  [[nodiscard]] std::vector<std::uint32_t> order(std::uint32_t count) const;

  // Whether it hung less than a minute ago.
  [[nodiscard]] bool isBarred(std::uint32_t index, Moment now) const;

  void answered(std::uint32_t index);
  void hung(std::uint32_t index, Moment now);
  void missed(std::uint32_t index) { missed_.insert(index); }

  // The UUID last seen at this index; empty without one.
  [[nodiscard]] std::string uuidAt(std::uint32_t index) const;

  // At the end of a round: remembers the GPUs that are up, gives the others their UUIDs, and adds
  // the ones of earlier rounds that are there no more.
  void complete(std::vector<Gpu>& gpus);

 private:
  struct Seen {
    std::uint32_t index;
    std::string uuid;
  };

  void remember(const std::vector<Gpu>& gpus);

  std::vector<Seen> seen_;                       // the latest ones last
  std::map<std::uint32_t, Moment> barredUntil_;  // of the GPUs that hung last
  std::set<std::uint32_t> missed_;
};

}  // namespace zanctl::collector
