#include "description/fault_reader.h"

#include "description/values.h"

namespace zansim {

namespace {

void readOperation(const Node& node, OperationSet& operations) {
  const auto* const pattern = node.as<std::string>();
  if (pattern == nullptr) return node.complainExpected("the name of an operation");
  const OperationSet matching = operationsMatching(*pattern);
  if (matching.none()) {
    const std::string hint = suggestion(*pattern, kOperationNames);
    node.complain("unknown operation" +
                  (hint.empty() ? ", expected a name or a pattern like \"nvmlDeviceGet*\"" : hint));
  }
  operations |= matching;
}

void readProbability(const Node& node, double& probability) {
  const auto* const fraction = node.as<double>();
  const auto* const whole = node.as<std::uint64_t>();
  const double value = fraction != nullptr               ? *fraction
                       : whole != nullptr && *whole <= 1 ? static_cast<double>(*whole)
                                                         : -1;
  if (value < 0 || value > 1) return node.complainExpected("a number from 0 to 1");
  probability = value;
}

void readLatency(const Node& node, Time& latency) {
  constexpr std::uint64_t kMostMicroseconds = 3'600'000'000;
  std::uint64_t microseconds = 0;
  readInteger(node, 0, kMostMicroseconds, microseconds);
  latency = static_cast<Time>(microseconds) * 1000;
}

void readSpan(Members& members, Fault& fault) {
  members.read("after", readSeconds, 0, kMostSeconds, fault.after);
  members.read("for", readSeconds, 0, kMostSeconds, fault.duration);
}

}  // namespace

void readOperations(const Node& node, OperationSet& operations) {
  if (node.as<Value::List>() == nullptr) return readOperation(node, operations);
  readList(node, "a list of operations",
           [&](const Node& element) { readOperation(element, operations); });
}

void readFaults(const Node& node, Host& host) {
  readList(node, "a list of faults", [&](const Node& element) {
    readObject(element, [&](Members& members) {
      Fault fault;
      if (!members.read("operation", readOperations, fault.operations)) {
        element.complain("a fault names its \"operation\"");
      }
      members.read("gpu", readIndices, "GPU", host.gpus.size(), fault.gpus);
      const bool hasCode = members.read("code", readReturnCode, fault.code);
      const bool hasLatency = members.read("latency_us", readLatency, fault.latency);
      const bool hasGrow = members.read("grow", readUnsigned, 1U, 100'000U, fault.grow);
      if (!hasCode && !hasLatency && !hasGrow) {
        element.complain("a fault has a \"code\", a \"latency_us\" or a \"grow\"");
      }
      members.read("keeps_growing", readBool, fault.keepsGrowing);
      if (fault.keepsGrowing && !hasGrow) {
        element.complain("\"keeps_growing\" says how to \"grow\"");
      }
      members.read("from_call", readInteger, 1U, kForever - 1, fault.fromCall);
      members.read("calls", readInteger, 1U, kForever, fault.calls);
      readSpan(members, fault);
      members.read("probability", readProbability, fault.probability);
      members.read("seed", readInteger, 0U, kForever, fault.seed);
      host.faults.push_back(std::move(fault));
    });
  });
}

void readLost(const Node& node, Host& host) {
  readList(node, "a list of lost GPUs", [&](const Node& element) {
    readObject(element, [&](Members& members) {
      Fault fault = lossOf({});
      if (!members.read("gpu", readIndices, "GPU", host.gpus.size(), fault.gpus)) {
        element.complain("a lost GPU is named by \"gpu\"");
      }
      readSpan(members, fault);
      // A GPU that is lost fails whatever else its faults say, so it is looked at first.
      host.faults.insert(host.faults.begin(), std::move(fault));
    });
  });
}

}  // namespace zansim
