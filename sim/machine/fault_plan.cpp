#include "machine/fault_plan.h"

#include <algorithm>

namespace zansim {

namespace {

bool befalls(const Fault& fault, Operation operation, unsigned gpu, std::uint64_t call, Time age) {
  if (!fault.operations.test(indexOf(operation))) return false;
  if (!fault.gpus.empty() &&
      std::find(fault.gpus.begin(), fault.gpus.end(), gpu) == fault.gpus.end()) {
    return false;
  }
  if (call < fault.fromCall || call - fault.fromCall >= fault.calls) return false;
  if (age < fault.after || age - fault.after >= fault.duration) return false;
  if (fault.probability >= 1) return true;
  const std::uint64_t who = indexOf(operation) * (kMaxGpus + 1ULL) + gpu;
  return unitHash(fault.seed, who, call) < fault.probability;
}

}  // namespace

std::uint64_t CallCounts::next(Operation operation, unsigned gpu) {
  // GPUs in rows, as machines differ in their number; the row of the calls on no GPU comes first.
  const std::size_t row = gpu == kNoGpu ? 0 : gpu + 1;
  const std::size_t index = row * kOperationCount + indexOf(operation);
  if (index >= counts_.size()) counts_.resize((row + 1) * kOperationCount);
  return ++counts_[index];
}

FaultPlan::FaultPlan(const std::vector<Fault>& faults) : faults_(faults) {
  for (const Fault& fault : faults_) concerned_ |= fault.operations;
}

FaultOutcome FaultPlan::outcome(Operation operation, unsigned gpu, std::uint64_t call,
                                Time age) const {
  FaultOutcome outcome;
  for (const Fault& fault : faults_) {
    if (!befalls(fault, operation, gpu, call, age)) continue;
    outcome.latency += fault.latency;
    if (fault.keepsGrowing) {
      const auto times = static_cast<unsigned>(call - fault.fromCall + 1);
      outcome.growSize += fault.grow * times;
      outcome.growList += fault.grow * times;
    } else {
      outcome.growList += fault.grow;
    }
    // The first code stands; latencies add up.
    if (outcome.code == NVML_SUCCESS) outcome.code = fault.code;
  }
  return outcome;
}

}  // namespace zansim
