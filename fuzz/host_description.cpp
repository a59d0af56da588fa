// The description of a machine, and the values of a machine whose description is good.
#include "description/host_reader.h"
#include "machine/machine.h"
#include "target.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>

namespace {

using namespace zansim;
using fuzz::expect;

// Its text is "f:LINE: " and a reason, and it stands in one line of printable characters.
void checkProblem(std::string_view problem, std::size_t lines, std::size_t& line) {
  expect(problem.starts_with("f:"), "a problem names the file");
  const std::size_t colon = problem.find(": ");
  expect(colon != std::string_view::npos && colon > 2, "a problem names the line");
  const auto named = std::stoul(std::string(problem.substr(2, colon - 2)));
  expect(named >= std::max<std::size_t>(line, 1) && named <= lines, "the lines ascend in the file");
  line = named;
  expect(std::none_of(problem.begin(), problem.end(),
                      [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }),
         "a problem stands in one line");
}

void checkSignal(const Signal& signal, Time now, unsigned owner) {
  const auto [low, high] =
      signal.shape == Signal::Shape::steps
          ? std::pair(*std::min_element(signal.values.begin(), signal.values.end()),
                      *std::max_element(signal.values.begin(), signal.values.end()))
          : std::pair(signal.min, signal.max);
  // The last bits of large numbers are lost on the way.
  const double slack = 1e-6 * (1 + std::max(std::abs(low), std::abs(high)));
  const double value = signal.valueAt(now, owner);
  expect(value >= low - slack && value <= high + slack, "a signal keeps its range");
}

void checkNumber(const NumberSource& source, unsigned owner) {
  expect(source.kind != NumberSource::Kind::unset, "everything has a source");
  if (source.kind == NumberSource::Kind::fails)
    return expect(source.code != NVML_SUCCESS, "a code");
  constexpr std::array<Time, 4> kTimes = {0, 1'772'841'600 * kSecond, 1'772'841'601 * kSecond,
                                          4'102'444'800 * kSecond};
  double last = 0;
  for (const Time time : kTimes) {
    if (source.signal != nullptr) checkSignal(*source.signal, time, owner);
    [[maybe_unused]] const std::uint64_t value = source.at(time, owner);
    const double integral = source.integral(0, time, owner);
    expect(integral >= last, "a counter never runs backwards");
    last = integral;
  }
}

void checkVgpu(const Host& host, const Vgpu& vgpu, const Machine& machine) {
  if (vgpu.code != NVML_SUCCESS) return;
  for (const auto* types : {&vgpu.supported, &vgpu.creatable}) {
    for (const unsigned type : *types) {
      expect(machine.findType(type) != nullptr, "a GPU's vGPU type is one of the machine's");
    }
  }
  for (const VgpuInstance& instance : vgpu.instances) {
    expect(machine.findType(instance.type) != nullptr, "a vGPU's type is one of the machine's");
    expect(machine.findInstance(instance.id)->instance->id == instance.id, "a vGPU is found");
    for (const NumberSource& share : instance.utilization) checkNumber(share, instance.id);
  }
  for (const VgpuType& type : host.vgpuTypes) checkNumber(type.framebuffer, 0);
}

void checkHost(const Host& read) {
  expect(read.gpus.size() <= kMaxGpus, "a machine has no more GPUs than there is room for");
  expect(read.cpus > 0, "a machine has a CPU");
  const Machine machine(read, {});
  const Host& host = machine.host();
  // Of many GPUs that are alike, a few tell enough.
  const std::size_t step = 1 + host.gpus.size() / 8;
  for (std::size_t index = 0; index < host.gpus.size(); index += step) {
    const Gpu& gpu = host.gpus[index];
    const auto owner = static_cast<unsigned>(index);
    expect(gpu.place && gpu.place->numaNode < host.numaNodes.size(), "a GPU has its place");
    expect(gpu.processes.empty(), "processes belong to the machine");
    for (const NumberSource& number : gpu.numbers) checkNumber(number, owner);
    for (const Engines* engines : {&gpu.jpu, &gpu.vpu}) {
      for (const NumberSource& busy : engines->busy) checkNumber(busy, owner);
    }
    checkVgpu(host, gpu.vgpu, machine);
  }
  for (const ProcessEntry& process : host.processes) {
    expect(std::all_of(process.gpus.begin(), process.gpus.end(),
                       [&host](unsigned gpu) { return gpu < host.gpus.size(); }),
           "a process runs on GPUs of the machine");
    if (process.memory.kind != NumberSource::Kind::unset) checkNumber(process.memory, 0);
  }
  for (const Fault& fault : host.faults) {
    expect(fault.operations.any(), "a fault befalls an operation");
    expect(fault.probability >= 0 && fault.probability <= 1, "a probability is one");
    for (const Time age : {Time{0}, kSecond, 100'000 * kSecond}) {
      [[maybe_unused]] const auto outcome =
          machine.faults().outcome(Operation::nvmlDeviceGetName, 0, 1, age);
    }
  }
}

}  // namespace

void fuzz::examine(std::string_view input) {
  const HostReading reading = readHost(input, "f");
  expect(reading.host.has_value() == reading.problems.empty(), "a machine or problems");
  const auto lines = 1 + static_cast<std::size_t>(std::count(input.begin(), input.end(), '\n'));
  std::size_t line = 0;
  for (const std::string& problem : reading.problems) checkProblem(problem, lines, line);
  if (reading.host) checkHost(*reading.host);
}
