// Every answer about a machine put together at random follows from where its GPUs are plugged in.
#include "support/host.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <random>

namespace zanctl {
namespace {

class GeneratedMachine : public testing::Test {
 protected:
  static constexpr std::size_t kGpus = 16;
  static constexpr std::size_t kCpus = 12;

  struct Place {
    std::size_t node, bridge, port, pciSwitch;
  };

  GeneratedMachine() {
    // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same machine in every run
    std::mt19937 random(16);
    const auto below = [&random](std::size_t bound) { return random() % bound; };
    std::string gpus;
    for (std::size_t gpu = 0; gpu < kGpus; ++gpu) {
      const Place place{below(3), below(2), below(2), below(2)};
      places.push_back(place);
      gpus += fmt::format(
          R"({}{{"placement": {{"numa_node": {}, "host_bridge": {}, "root_port": {}, "switch": {}}}}})",
          gpu == 0 ? "" : ", ", place.node, place.bridge, place.port, place.pciSwitch);
    }
    description =
        R"({"cpus": 12, "numa_nodes": [{"cpus": "0-3"}, {"cpus": "4-7"}, {"cpus": "8-11"}],
                      "gpus": [)" +
        gpus + "]}";
  }

  // 1 to 5, the level of -n.
  [[nodiscard]] std::size_t levelOf(std::size_t a, std::size_t b) const {
    const Place& first = places[a];
    const Place& second = places[b];
    if (first.node != second.node) return 5;
    if (first.bridge != second.bridge) return 4;
    if (first.port != second.port) return 3;
    return first.pciSwitch != second.pciSwitch ? 2 : 1;
  }

  std::vector<Place> places;
  std::string description;
};

constexpr std::array kCodes = {"INTE", "PIX", "PXB", "PHB", "NODE", "SYS"};
constexpr std::array kPhrases = {"by way of a single on-board PCIe switch",
                                 "by way of a single PCIe switch",
                                 "by way of potentially multiple PCIe switches",
                                 "by the same PCIe host bridge",
                                 "by way of an on-CPU interconnect between PCIe host bridges",
                                 "by way of an SMP interconnect link between NUMA nodes"};

void expectAnswer(const Outcome& run, const std::string& answer) {
  EXPECT_EQ(run.status, 0) << answer;
  EXPECT_EQ(run.out, answer);
}

TEST_F(GeneratedMachine, agreesWithItselfInEveryView) {
  Host host = Host::described(description);
  std::string matrix;
  for (std::size_t gpu = 0; gpu < kGpus; ++gpu) {
    const std::size_t node = places[gpu].node;
    std::string row = fmt::format("{:<8}", fmt::format("GPU{}", gpu));
    for (std::size_t other = 0; other < kGpus; ++other) {
      row += fmt::format("{:<{}}", other == gpu ? "X" : kCodes.at(levelOf(gpu, other)),
                         other > 9 ? 9 : 8);
    }
    matrix += fmt::format("{}{}-{}    {}\n", row, 4 * node, 4 * node + 3, node);
  }
  const std::string shown = host.run("topo -m").out;
  EXPECT_EQ(shown.substr(shown.find("GPU0 "), matrix.size()), matrix);

  for (std::size_t cpu = 0; cpu < kCpus; cpu += 3) {
    std::string near;
    for (std::size_t gpu = 0; gpu < kGpus; ++gpu) {
      if (places[gpu].node == cpu / 4) near += fmt::format("{} ", gpu);
    }
    expectAnswer(host.run(fmt::format("topo -c {}", cpu)),
                 fmt::format("The GPUs that have an affinity with CPU {} are:\n{}\n", cpu, near));
  }

  for (std::size_t gpu = 0; gpu < kGpus; gpu += 5) {
    for (std::size_t level = 0; level <= 5; ++level) {
      std::string nearest;
      for (std::size_t other = 0; other < kGpus; ++other) {
        if (other != gpu && levelOf(gpu, other) == level) nearest += fmt::format("{} ", other);
      }
      expectAnswer(host.run(fmt::format("topo -n {} -i {}", level, gpu)),
                   nearest.empty()
                       ? fmt::format("Device {} is not connected to other devices {}.\n", gpu,
                                     kPhrases.at(level))
                       : fmt::format("Device {} is connected {} to device(s): {}\n", gpu,
                                     kPhrases.at(level), nearest));
    }
    const std::size_t other = (gpu + 7) % kGpus;
    expectAnswer(host.run(fmt::format("topo -p -i {},{}", gpu, other)),
                 fmt::format("Device {} is connected to device {} {}.\n\n", std::max(gpu, other),
                             std::min(gpu, other), kPhrases.at(levelOf(gpu, other))));
  }
}

}  // namespace
}  // namespace zanctl
