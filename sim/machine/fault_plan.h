// Decides, call by call, what the faults of a description do to a call.
#pragma once

#include "description/host.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace zansim {

// Stands for the GPU of a call that is on none.
constexpr unsigned kNoGpu = kMaxGpus;

struct FaultOutcome {
  nvmlReturn_t code = NVML_SUCCESS;
  Time latency = 0;
  // Entries by which a list is longer than described: when its size is asked alone, and when it
  // is asked with room for it.
  unsigned growSize = 0;
  unsigned growList = 0;
};

// How often each operation has been called on each GPU by this process.
class CallCounts {
 public:
  // The number of this call, from 1.
  std::uint64_t next(Operation operation, unsigned gpu);

 private:
  std::vector<std::uint64_t> counts_;
};

class FaultPlan {
 public:
  explicit FaultPlan(const std::vector<Fault>& faults);

  // Whether any fault can befall the operation.
  bool concerns(Operation operation) const { return concerned_.test(indexOf(operation)); }

  // `age` is the time since the machine started.
  FaultOutcome outcome(Operation operation, unsigned gpu, std::uint64_t call, Time age) const;

 private:
  std::vector<Fault> faults_;
  OperationSet concerned_;
};

}  // namespace zansim
