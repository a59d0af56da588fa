#include "description/host_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace zansim {
namespace {

Host hostOf(const std::string& json) {
  HostReading reading = readHost(json, "f");
  EXPECT_TRUE(reading.host) << (reading.problems.empty() ? "" : reading.problems.front());
  return reading.host.value_or(Host{});
}

std::string commandLine(const ProcessEntry& entry) {
  std::string line;
  for (const std::string& argument : entry.arguments) {
    line += (line.empty() ? "" : " ") + argument;
  }
  return line;
}

// The text with an x for each hexadecimal digit.
std::string shape(std::string text) {
  const auto isDigit = [](char c) {
    return std::string_view("0123456789abcdef").find(c) != std::string_view::npos;
  };
  std::replace_if(text.begin(), text.end(), isDigit, 'x');
  return text;
}

TEST(Completion, EveryGpuHasAnIdentityOfItsOwn) {
  const Host host = hostOf(R"({"gpus": [{"count": 256}]})");
  ASSERT_EQ(host.gpus.size(), 256U);
  std::set<std::string> uuids;
  std::set<std::string> buses;
  std::set<std::string> serials;
  for (const Gpu& gpu : host.gpus) {
    EXPECT_EQ(shape(gpu[Text::uuid].text), "GPU-xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx");
    uuids.insert(gpu[Text::uuid].text);
    buses.insert(gpu[Text::pciBusId].text);
    serials.insert(gpu[Text::serial].text);
  }
  EXPECT_EQ(uuids.size(), 256U);
  EXPECT_EQ(buses.size(), 256U);
  EXPECT_EQ(serials.size(), 256U);
  EXPECT_EQ(host.gpus[255][Number::minorNumber].value, 255U);
  // Another seed is another machine; the same is the same.
  const std::string first = host.gpus[0][Text::uuid].text;
  EXPECT_EQ(hostOf(R"({"gpus": [{}]})").gpus[0][Text::uuid].text, first);
  EXPECT_NE(hostOf(R"({"seed": 2, "gpus": [{}]})").gpus[0][Text::uuid].text, first);
}

TEST(Completion, EntriesAreLaidOverTheDefaults) {
  const Host host = hostOf(R"({
    "defaults": {"name": "GPU number {i}", "clocks": {"sm": 500, "memory": 600},
                 "processes": [{"command": "worker {i}"}]},
    "gpus": [{"count": 2}, {"clocks": {"sm": 700}, "processes": []},
             {"clocks": "unavailable", "uuid": "GPU-{i}{i}"}]})");
  ASSERT_EQ(host.gpus.size(), 4U);
  EXPECT_EQ(host.gpus[1][Text::name].text, "GPU number 1");
  EXPECT_EQ(host.gpus[1][Number::clockSm].value, 500U);
  EXPECT_EQ(host.gpus[2][Number::clockSm].value, 700U);
  EXPECT_EQ(host.gpus[2][Number::clockMemory].value, 600U);
  EXPECT_EQ(host.gpus[3][Number::clockMemory].code, NVML_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(host.gpus[3][Text::uuid].text, "GPU-33");
  ASSERT_EQ(host.processes.size(), 3U);
  EXPECT_EQ(commandLine(host.processes[1]), "worker 1");
  EXPECT_EQ(host.processes[2].gpus, std::vector<unsigned>{3});
}

TEST(Completion, BoardsHoldSeveralGpus) {
  const Host host =
      hostOf(R"({"gpus_per_board": 2, "gpus": [{"count": 3}, {"board": {"id": 9}}]})");
  const auto board = [&](unsigned gpu, Number attribute) {
    return host.gpus[gpu][attribute].value;
  };
  EXPECT_EQ(board(0, Number::boardId), board(1, Number::boardId));
  EXPECT_EQ(board(0, Number::boardSn), board(1, Number::boardSn));
  EXPECT_NE(board(0, Number::boardId), board(2, Number::boardId));
  EXPECT_EQ(board(0, Number::boardPosition), 0U);
  EXPECT_EQ(board(1, Number::boardPosition), 1U);
  EXPECT_EQ(board(1, Number::boardMulti), 1U);
  EXPECT_EQ(board(3, Number::boardId), 9U);
}

TEST(Completion, ValuesAreSpelledForPeople) {
  const Host host = hostOf(R"({"gpus": [{
    "memory": {"total": "16 GiB", "used": "1.5GiB"}, "compute_capability": "8.6",
    "voltages": {"gpu": "0.05"}, "performance_state": "P5", "ecc": {"current": false},
    "pci": {"device_id": "0x10011E9C"}, "temperature": {"raw": 4294967295},
    "virtualization_mode": "host_vgpu"}]})");
  const Gpu& gpu = host.gpus[0];
  EXPECT_EQ(gpu[Number::memoryTotal].value, 16ULL << 30U);
  EXPECT_EQ(gpu[Number::memoryUsed].value, 3ULL << 29U);
  EXPECT_EQ(gpu[Number::computeCapability].value, packPair(8, 6));
  EXPECT_EQ(gpu[Number::voltageGpu].value, packPair(0, 5));
  EXPECT_EQ(gpu[Number::performanceState].value, 5U);
  EXPECT_EQ(gpu[Number::eccCurrent].value, 0U);
  EXPECT_EQ(gpu[Number::pciDeviceId].value, 0x10011E9CU);
  EXPECT_EQ(gpu[Number::temperature].value, 4294967295U);
  EXPECT_EQ(gpu[Number::virtualizationMode].value, 3U);
}

TEST(Completion, GeneratedCommandLinesHaveTheirLength) {
  for (const unsigned length : {1U, 7U, 8U, 9U, 64U, 65U, 300U, 4095U, 100'000U}) {
    const Host host =
        hostOf(R"({"gpus": [{"processes": [{"length": )" + std::to_string(length) + "}]}]}");
    const std::string line = commandLine(host.processes[0]);
    EXPECT_EQ(line.size(), length);
    for (const std::string& argument : host.processes[0].arguments) EXPECT_FALSE(argument.empty());
  }
}

TEST(Completion, ProcessesKeepTheirKeysWhenOthersCome) {
  const auto keys = [](const std::string& processes) {
    std::vector<std::uint64_t> list;
    const Host host = hostOf(R"({"gpus": [{"processes": [)" + processes + "]}]}");
    for (const ProcessEntry& entry : host.processes) list.push_back(entry.key);
    return list;
  };
  const std::string a = R"({"command": "a"})";
  const std::string b = R"({"command": "b"})";
  const auto before = keys(a + "," + a);
  const auto after = keys(b + "," + a + "," + a);
  EXPECT_NE(before[0], before[1]);
  EXPECT_EQ(after[1], before[0]);
  EXPECT_EQ(after[2], before[1]);
}

TEST(Completion, CpusAreDealtToTheNodes) {
  const Host plain = hostOf(R"({"cpus": 6, "numa_nodes": [{}, {}], "gpus": [{"count": 4}]})");
  EXPECT_EQ(plain.numaNodes[0].cpus, (std::vector<unsigned>{0, 1, 2}));
  EXPECT_EQ(plain.numaNodes[1].cpus, (std::vector<unsigned>{3, 4, 5}));
  EXPECT_EQ(plain.gpus[1].place->numaNode, 0U);
  EXPECT_EQ(plain.gpus[2].place->numaNode, 1U);
  const Host listed = hostOf(R"({"numa_nodes": [{"cpus": "0,4-5"}, {"cpus": "8"}], "gpus": []})");
  EXPECT_EQ(listed.cpus, 9U);
  EXPECT_EQ(listed.numaNodes[0].cpus, (std::vector<unsigned>{0, 4, 5}));
}

}  // namespace
}  // namespace zansim
