#include "description/fault_reader.h"

#include "description/values.h"

#include <array>

namespace zansim {

namespace {

void readOperation(const Node& node, OperationSet& operations) {
  if (!node.json().is_string()) return node.complainExpected("the name of an operation");
  const auto& pattern = node.json().get_ref<const std::string&>();
  const OperationSet matching = operationsMatching(pattern);
  if (matching.none()) {
    const std::string hint = suggestion(pattern, kOperationNames);
    node.complain("unknown operation" +
                  (hint.empty() ? ", expected a name or a pattern like \"nvmlDeviceGet*\"" : hint));
  }
  operations |= matching;
}

void readGpus(const Node& node, std::vector<unsigned>& gpus) {
  const auto read = [&](const Node& element) { readGpuIndex(element, gpus.emplace_back()); };
  if (!node.json().is_array()) return read(node);
  // An empty list would mean every GPU.
  if (node.json().empty()) return node.complain("the list names no GPU");
  if (node.json().size() > kMaxGpus) return node.complain("the list names a GPU twice");
  readList(node, "a list", read);
}

void readProbability(const Node& node, Fault& fault) {
  const double value = node.json().is_number() ? node.json().get<double>() : -1;
  if (!(value >= 0 && value <= 1)) return node.complainExpected("a number from 0 to 1");
  fault.probability = value;
}

void readLatency(const Node& node, Fault& fault) {
  constexpr std::uint64_t kMostMicroseconds = 3'600'000'000;
  std::uint64_t microseconds = 0;
  readInteger(node, 0, kMostMicroseconds, microseconds);
  fault.latency = static_cast<Time>(microseconds) * 1000;
}

constexpr std::array kFaultKeys{
    Key<Fault>{"operation",
               [](const Node& node, Fault& fault) { readOperations(node, fault.operations); }},
    Key<Fault>{"gpu", [](const Node& node, Fault& fault) { readGpus(node, fault.gpus); }},
    Key<Fault>{"code", [](const Node& node, Fault& fault) { readReturnCode(node, fault.code); }},
    Key<Fault>{
        "from_call",
        [](const Node& node, Fault& fault) { readInteger(node, 1, kForever - 1, fault.fromCall); }},
    Key<Fault>{"calls",
               [](const Node& node, Fault& fault) { readInteger(node, 1, kForever, fault.calls); }},
    Key<Fault>{"after", [](const Node& node, Fault& fault) { readSeconds(node, fault.after); }},
    Key<Fault>{"for", [](const Node& node, Fault& fault) { readSeconds(node, fault.duration); }},
    Key<Fault>{"probability", readProbability},
    Key<Fault>{"seed",
               [](const Node& node, Fault& fault) { readInteger(node, 0, kForever, fault.seed); }},
    Key<Fault>{"latency_us", readLatency},
    Key<Fault>{"grow",
               [](const Node& node, Fault& fault) { readUnsigned(node, 1, 100'000, fault.grow); }},
    Key<Fault>{"keeps_growing",
               [](const Node& node, Fault& fault) { readBool(node, fault.keepsGrowing); }},
};

constexpr std::array kLostKeys{
    Key<Fault>{"gpu", [](const Node& node, Fault& fault) { readGpus(node, fault.gpus); }},
    Key<Fault>{"after", [](const Node& node, Fault& fault) { readSeconds(node, fault.after); }},
    Key<Fault>{"for", [](const Node& node, Fault& fault) { readSeconds(node, fault.duration); }},
};

}  // namespace

void readOperations(const Node& node, OperationSet& operations) {
  if (!node.json().is_array()) return readOperation(node, operations);
  readList(node, "a list of operations",
           [&](const Node& element) { readOperation(element, operations); });
}

void readFaults(const Node& node, std::vector<Fault>& faults) {
  readList(node, "a list of faults", [&](const Node& element) {
    Fault fault;
    readObject(element, "fault", kFaultKeys, fault);
    if (!element.json().is_object()) return;
    if (!element.json().contains("operation")) element.complain("a fault names its \"operation\"");
    if (fault.code == NVML_SUCCESS && fault.latency == 0 && fault.grow == 0) {
      element.complain("a fault has a \"code\", a \"latency_us\" or a \"grow\"");
    }
    if (fault.keepsGrowing && fault.grow == 0) {
      element.complain("\"keeps_growing\" says how to \"grow\"");
    }
    faults.push_back(std::move(fault));
  });
}

void readLost(const Node& node, std::vector<Fault>& faults) {
  readList(node, "a list of lost GPUs", [&](const Node& element) {
    Fault fault;
    readObject(element, "lost GPU", kLostKeys, fault);
    if (element.json().is_object() && fault.gpus.empty()) {
      element.complain("a lost GPU is named by \"gpu\"");
    }
    fault.operations.set();
    fault.code = NVML_ERROR_GPU_IS_LOST;
    // A GPU that is lost fails whatever else its faults say, so it is looked at first.
    faults.insert(faults.begin(), std::move(fault));
  });
}

}  // namespace zansim
