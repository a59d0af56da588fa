// How the GPUs of whole machines are connected.
#include "support/host.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <random>
#include <sstream>

namespace zanctl {
namespace {

constexpr const char* kLegend = R"(
Legend:

  X    = Self
  SYS  = Connection traversing PCIe as well as the SMP interconnect between NUMA nodes (e.g., QPI/UPI)
  NODE = Connection traversing PCIe as well as the interconnect between PCIe Host Bridges within a NUMA node
  PHB  = Connection traversing PCIe as well as a PCIe Host Bridge (typically the CPU)
  PXB  = Connection traversing multiple PCIe bridges (without traversing the PCIe Host Bridge)
  PIX  = Connection traversing at most a single PCIe bridge
  INTE = Connection traversing at most a single on-board PCIe bridge
)";
constexpr const char* kP2pLegend = R"(
Legend:

  X    = Self
  OK   = Status Ok
  CNS  = Chipset not supported
  GNS  = GPU not supported
  TNS  = Topology not supported
  NS   = Not supported
  U    = Unknown
)";

std::string underlined(const std::string& text) { return "\033[4m" + text + "\033[0m"; }

std::string gpuHeads(std::size_t count) {
  std::string heads = "        ";
  for (std::size_t gpu = 0; gpu < count; ++gpu)
    heads += underlined(fmt::format("GPU{}", gpu)) + "    ";
  return heads;
}

std::string connectionHead(std::size_t count) {
  return gpuHeads(count) + underlined("CPU Affinity") + "    " + underlined("NUMA Affinity") + "\n";
}

void expectRefusal(const Outcome& run, const std::string& message) {
  EXPECT_EQ(run.status, 255) << message;
  EXPECT_EQ(run.out, message + "\n");
  EXPECT_EQ(run.err, "");
}

void expectAnswer(const Outcome& run, const std::string& answer) {
  EXPECT_EQ(run.status, 0) << answer;
  EXPECT_EQ(run.out, answer);
}

// Three GPUs that share nothing but the machine, and a processor set of every form.
std::string threeGpus(const std::string& more) {
  return machineOf(
      R"({"placement": {"numa_node": 0}}, {"placement": {"numa_node": 1}},
                      {"placement": {"numa_node": 1, "host_bridge": 1}})",
      R"("cpus": 70, "numa_nodes": [{"cpus": "0,1,4-7,63,64"}, {"cpus": "8,66-69"}])" + more);
}

TEST(Topology, showsTheMatrixWithAffinities) {
  Host host = Host::described(threeGpus(""));
  const std::string matrix = connectionHead(3) +
                             "GPU0    X       SYS     SYS     0,1,4-7,63,64    0\n"
                             "GPU1    SYS     X       NODE    8,66-69    1\n"
                             "GPU2    SYS     NODE    X       8,66-69    1\n" +
                             kLegend;
  expectAnswer(host.run("topo -m"), matrix);
  expectAnswer(host.run("topo --mp"), matrix);
}

TEST(Topology, showsWhatCannotBeReadAndGoesOn) {
  Host host = Host::described(threeGpus(R"(, "missing": ["nvmlDeviceGetP2PStatus"], "faults": [
      {"operation": "nvmlDeviceGetTopologyCommonAncestor", "gpu": 0, "from_call": 2, "code": "gpu_is_lost"},
      {"operation": "nvmlDeviceGetCpuAffinityWithinScope", "gpu": 1, "code": "unknown"},
      {"operation": "nvmlDeviceGetMemoryAffinity", "gpu": 2, "code": "unknown"}])"));
  expectAnswer(host.run("topo -m"), connectionHead(3) +
                                        "GPU0    X       SYS     ERROR    0,1,4-7,63,64    0\n"
                                        "GPU1    SYS     X       NODE        1\n"
                                        "GPU2    SYS     NODE    X       8,66-69    N/A\n" +
                                        kLegend);
  expectAnswer(host.run("topo --p2p r"), gpuHeads(3) +
                                             "\nGPU0    X       U       U       "
                                             "\nGPU1    U       X       U       "
                                             "\nGPU2    U       U       X       \n" +
                                             kP2pLegend);
}

TEST(Topology, worksWithoutAnyOfItsOperations) {
  Host host = Host::described(machineOf("{}, {}", R"("missing": ["*Topology*", "*Affinity*"])"));
  expectAnswer(host.run("topo -m"), connectionHead(2) +
                                        "GPU0    X       ERROR        N/A\n"
                                        "GPU1    ERROR    X           N/A\n" +
                                        kLegend);
  expectAnswer(host.run("topo -c 0"), "No GPUs were found to have an affinity with CPU 0.\n");
  expectAnswer(host.run("topo -n 5 -i 0"),
               "Device 0 is not connected to other devices by way of an SMP interconnect link "
               "between NUMA nodes.\n");
  expectAnswer(host.run("topo -p -i 0,1"), "Device 1 is connected to device 0\n\n");
}

TEST(Topology, saysThatItCannotReadTheNumaNodes) {
  Host host = Host::described(machineOf("{}", R"("cpus": 4)"));
  const Outcome run =
      host.runScript("rm '" + (host.state() / "node_online").string() + "'; $zanctl topo -m");
  expectAnswer(run, "Error reading file /sys/devices/system/node/online \n" + connectionHead(1) +
                        "GPU0    X       0-3    N/A\n" + kLegend);
}

TEST(Topology, showsPeerToPeerStates) {
  Host host = Host::described(
      machineOf(R"({"p2p": {"read": 1, "write": 4}}, {"count": 10, "p2p": {"read": 5}}, {})"));
  std::string read = gpuHeads(12) + "\nGPU0    X       ";
  for (int gpu = 1; gpu < 12; ++gpu) read += gpu > 9 ? "CNS      " : "CNS     ";
  EXPECT_TRUE(host.run("topo --p2p rw").out.starts_with(read + "\nGPU1    NS      X       NS "));
  const std::string write = host.run("topo --p2p w").out;
  EXPECT_NE(write.find("\nGPU0    X       U       U "), std::string::npos) << write;
  EXPECT_NE(write.find("\nGPU11   U       OK "), std::string::npos) << write;
  EXPECT_TRUE(write.ends_with("OK       X        \n" + std::string(kP2pLegend))) << write;
}

TEST(Topology, refusesWithTheMessageOfTheOption) {
  Host host("eight-gpu");
  const std::string path =
      "Path command line flag must be used in conjection with the -i argument which must be two "
      "GPU identifiers.";
  for (const char* list : {"0", "0,0", "0,1,2"}) {
    expectRefusal(host.run(fmt::format("topo -p -i {}", list)), path);
  }
  expectRefusal(host.run("topo -n 1 -i 0,1"),
                "Nearest GPUs argument must be used in conjunction with the -i argument which must "
                "be a single identifier.");
  expectRefusal(host.run("topo -n 1x -i 0"),
                "Failed to parse device specified for the nearest GPU command-line flag");
  for (const char* level : {"6", "4294967296", "99999999999999999999"}) {
    expectRefusal(host.run(fmt::format("topo -n {} -i 0", level)),
                  "Failed to display the nearest GPUs");
  }
  for (const char* cpu : {"1g", "0x", "-1", "0x0x1", ""}) {
    expectRefusal(host.runWords({"topo", "-m", "--cpu=" + std::string(cpu)}),
                  "Failed to parse device specified for the CPU affinity command-line flag");
  }
  for (const char* capability : {"rx", "R", ""}) {
    expectRefusal(host.runWords({"topo", "--p2p=" + std::string(capability)}),
                  "Invalid p2p capability index specified at the command-line");
  }
  expectRefusal(host.run("topo -n 0 -i 8"), "No device were found");
}

TEST(Topology, takesProcessorsInDecimalAndHexadecimal) {
  Host host("eight-gpu");
  for (const char* cpu : {"32", "0x3f", "0X20", "3F"}) {
    expectAnswer(host.run(fmt::format("topo -c {}", cpu)),
                 fmt::format("The GPUs that have an affinity with CPU {} are:\n4 5 6 7 \n", cpu));
  }
  for (const char* cpu : {"64", "4294967296", "0xffffffffffffffffffff"}) {
    expectAnswer(host.run(fmt::format("topo -c {}", cpu)),
                 fmt::format("No GPUs were found to have an affinity with CPU {}.\n", cpu));
  }
}

TEST(Topology, printsItsHelpWhenNothingIsAsked) {
  Host host("one-gpu");
  const std::string help = host.run("topo -h").out;
  const std::string description = help.substr(0, help.find("Usage"));
  expectAnswer(host.run("topo"),
               description + "Usage: topo" + help.substr(help.find(" [OPTIONS]")));
}

TEST(Topology, asksTheLibraryOncePerCellAndGpu) {
  Host host("large-host");
  ASSERT_EQ(host.run("topo -m").status, 0);
  auto counts = host.callCounts();
  EXPECT_EQ(counts["nvmlDeviceGetTopologyCommonAncestor"], 64 * 63);
  EXPECT_EQ(counts["nvmlDeviceGetCpuAffinityWithinScope"], 64);
  EXPECT_EQ(counts["nvmlDeviceGetMemoryAffinity"], 64);
}

// Every answer about a machine put together at random follows from where its GPUs are plugged in.
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
    description = machineOf(gpus, R"("cpus": 12, "numa_nodes": [{"cpus": "0-3"}, {"cpus": "4-7"},
                                                                {"cpus": "8-11"}])");
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

TEST_F(GeneratedMachine, agreesWithItselfInEveryView) {
  Host host = Host::described(description);
  std::string matrix = connectionHead(kGpus);
  for (std::size_t gpu = 0; gpu < kGpus; ++gpu) {
    const std::size_t node = places[gpu].node;
    std::string row = fmt::format("{:<8}", fmt::format("GPU{}", gpu));
    for (std::size_t other = 0; other < kGpus; ++other) {
      row += fmt::format("{:<{}}", other == gpu ? "X" : kCodes.at(levelOf(gpu, other)),
                         other > 9 ? 9 : 8);
    }
    matrix += fmt::format("{}{}-{}    {}\n", row, 4 * node, 4 * node + 3, node);
  }
  expectAnswer(host.run("topo -m"), matrix + kLegend);

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
