// What earlier rounds tell of the GPUs: their UUIDs, and which of them were at fault.
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
  // and behind them those that were at fault.
  [[nodiscard]] std::vector<std::uint32_t> order(std::uint32_t count) const;

  // Whether it is not to be asked yet after what it did.
  [[nodiscard]] bool isBarred(std::uint32_t index, Moment now) const;

  void answered(std::uint32_t index);
  // Bars it for a minute.
  void hung(std::uint32_t index, Moment now);
  // With the library. Bars it for a second, and for twice as long each time until it answers, up to
  // a minute.
  void crashed(std::uint32_t index, Moment now);
  void missed(std::uint32_t index) { missed_.insert(index); }

  // The UUID last seen at this index; empty without one.
  [[nodiscard]] std::string uuidAt(std::uint32_t index) const;

  // At the end of a round: remembers the GPUs, gives those that are not up their UUIDs, and adds
  // the ones of earlier rounds that are there no more.
  void complete(std::vector<Gpu>& gpus);

 private:
  struct Seen {
    std::uint32_t index;
    std::string uuid;
  };

  void remember(const std::vector<Gpu>& gpus);

  struct Bar {
    Moment until{};
    Moment length{};
  };

  std::vector<Seen> seen_;            // the latest ones last
  std::set<std::uint32_t> nameless_;  // indices that were counted, but never told a UUID
  std::map<std::uint32_t, Bar> bars_;
  std::set<std::uint32_t> missed_;
};

}  // namespace zanctl::collector
