#include "description/host_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace zansim {
namespace {

struct Refusal {
  const char* json;
  const char* problem;
};

// A description that has one GPU with this inside.
std::string withGpu(const std::string& inside) { return R"({"gpus": [{)" + inside + "}]}"; }

std::string problemOf(const std::string& json) {
  const HostReading reading = readHost(json, "f");
  EXPECT_EQ(reading.host.has_value(), reading.problems.empty()) << json;
  return reading.problems.empty() ? "" : reading.problems.front();
}

TEST(Refusal, OfWhatIsNoDescription) {
  const Refusal kRefusals[] = {
      {"",
       "f:1: syntax error while parsing value - unexpected end of input; expected '[', '{', or "
       "a literal"},
      {"{\"gpus\": [],\n\"seed\": 1e999}", "f:2: number overflow parsing '1e999'"},
      {"[]", "f:1: /: expected an object, not a list"},
      {"{}", "f:1: /: a machine needs \"gpus\""},
      {R"({"gpus": 3})", "f:1: /gpus: expected a list of GPUs, not 3"},
      {"{\n \"gpus\": [],\n \"cpu\": 4}", "f:3: /cpu: unknown key, did you mean \"cpus\"?"},
      {"{\"gpus\": [],\n\"seed\": 1,\n\"seed\": 2}",
       "f:3: /seed: this key stands twice, for the first time in line 2"},
      {R"({"gpus": [], "cpus\n": 4})", R"(f:1: /cpus\u000a: unknown key, did you mean "cpus"?)"},
      {R"({"gpus": [], "cpus": 0})", "f:1: /cpus: expected a whole number from 1 to 8192, not 0"},
      {R"({"gpus": [], "driver_nodes": "no"})",
       "f:1: /driver_nodes: expected true, false or \"unreadable\", not \"no\""},
      {R"({"gpus": [], "missing": ["nvmlDeviceGetNaem"]})",
       "f:1: /missing/0: unknown operation, did you mean \"nvmlDeviceGetName\"?"},
      {R"({"gpus": [], "init": "driver_not_load"})",
       "f:1: /init: unknown return code, did you mean \"driver_not_loaded\"?"},
      {R"({"gpus": [], "numa_nodes": []})", "f:1: /numa_nodes: a machine has 1 to 64 NUMA nodes"},
      {R"({"gpus": [], "numa_nodes": [{"cpus": "3-1"}]})",
       "f:1: /numa_nodes/0/cpus: expected ascending CPU numbers below 8192 like \"0-7,16-23\", not "
       "\"3-1\""},
      {R"({"gpus": [], "numa_nodes": [{"cpus": "0-3"}, {"cpus": "3"}]})",
       "f:1: /numa_nodes/1: CPU 3 belongs to another NUMA node already"},
      {R"({"gpus": [{"count": 1000}, {"count": 25}]})",
       "f:1: /gpus/1: a machine has at most 1024 GPUs"},
      {R"({"gpus": [], "defaults": {"count": 2}})",
       "f:1: /defaults: \"count\" belongs to an entry of \"gpus\""},
  };
  for (const Refusal& refusal : kRefusals) {
    EXPECT_EQ(problemOf(refusal.json), refusal.problem) << refusal.json;
  }
}

TEST(Refusal, OfAttributes) {
  const Refusal kRefusals[] = {
      {R"("temprature": 4)", "/temprature: unknown key, did you mean \"temperature\"?"},
      {R"("clocks": {"mem": 2})", "/clocks/mem: unknown key, did you mean \"memory\"?"},
      {R"("clocks": {"sm": 1, "bus": 2})",
       "/clocks/bus: unknown key, the keys here are graphics, memory, sm, video"},
      {R"("clocks": 3)", "/clocks: expected an object or \"unavailable\", not 3"},
      {R"("temperature": -1)",
       "/temperature: expected a whole number from 0 to 254, a signal or \"unavailable\", not -1"},
      {R"("temperature": 40.5)",
       "/temperature: expected a whole number from 0 to 254, a signal or \"unavailable\", not "
       "40.5"},
      {R"("memory": {"total": "16 GB"})",
       "/memory/total: expected a whole number from 0 to 1125899906842624 or a text like \"16 "
       "GiB\", a signal or \"unavailable\", not \"16 GB\""},
      {R"("ecc": {"current": "on"})",
       "/ecc/current: expected one of \"disabled\", \"enabled\", \"false\", \"true\", or a number "
       "from 0 to 1, a signal or \"unavailable\", not \"on\""},
      {R"("voltages": {"gpu": 0.85})",
       "/voltages/gpu: expected a text like \"8.0\" or \"unavailable\", not 0.85"},
      {R"("voltages": {"gpu": {"signal": "sine", "min": 0, "max": 1}})",
       "/voltages/gpu: this attribute cannot be a signal"},
      {R"("name": 5)", "/name: expected a text or \"unavailable\", not 5"},
      {R"("name": "a\u0000b")", "/name: a text holds no NUL"},
      {R"("name": {"fails": "gpu_lost"})",
       "/name/fails: unknown return code, did you mean \"gpu_is_lost\"?"},
      {R"("name": {"fails": 0})", "/name/fails: expected a whole number from 1 to 999, not 0"},
      {R"("name": {"fill": ""})", "/name: \"fill\" needs one character"},
      {R"("temperature": {"signal": "saw", "min": 1, "max": 2})",
       "/temperature/signal: expected \"sine\", \"ramp\", \"steps\" or \"walk\", not \"saw\""},
      {R"("temperature": {"min": 1, "max": 2})",
       "/temperature: a signal needs \"signal\": \"sine\", \"ramp\", \"steps\" or \"walk\""},
      {R"("temperature": {"signal": "sine", "min": 1})",
       "/temperature: this signal needs \"min\" and \"max\""},
      {R"("temperature": {"signal": "sine", "min": 3, "max": 2})",
       "/temperature: \"min\" is above \"max\""},
      {R"("temperature": {"signal": "walk", "min": 3, "max": 300})",
       "/temperature/max: expected a whole number from 0 to 254, not 300"},
      {R"("temperature": {"signal": "steps", "values": []})",
       "/temperature/values: expected a list of 1 to 1000 numbers"},
      {R"("temperature": {"signal": "sine", "min": 1, "max": 2, "period": 0})",
       "/temperature/period: a period lies between 0.001 and 1000000 seconds"},
      {R"("placement": "node0/port1")",
       "/placement: expected a place like \"node0/bridge0/port0/switch1\", not \"node0/port1\""},
      {R"("jpu": {"engines": 3, "busy": [1, 2]})",
       "/jpu: the list \"busy\" has not one entry for each of the \"engines\""},
      {R"("jpu": {"engines": 33})", "/jpu/engines: expected a whole number from 0 to 32, not 33"},
  };
  for (const Refusal& refusal : kRefusals) {
    EXPECT_EQ(problemOf(withGpu(refusal.json)), std::string("f:1: /gpus/0") + refusal.problem)
        << refusal.json;
  }
}

TEST(Refusal, OfProcessesVgpusAndFaults) {
  const Refusal kRefusals[] = {
      {R"({"gpus": [{"processes": [{"memory": 5}]}]})",
       "f:1: /gpus/0/processes/0: a process has one of \"command\", \"length\", \"kind\" and "
       "\"pid\""},
      {R"({"gpus": [{"processes": [{"command": "a", "pid": 4}]}]})",
       "f:1: /gpus/0/processes/0: a process has one of \"command\", \"length\", \"kind\" and "
       "\"pid\""},
      {R"({"gpus": [{"processes": [{"command": "a", "gpus": [0]}]}]})",
       "f:1: /gpus/0/processes/0/gpus: unknown key, the keys here are command, count, kind, "
       "length, "
       "lists, memory, pid, vgpu"},
      {R"({"gpus": [{"processes": [{"command": "  "}]}]})",
       "f:1: /gpus/0/processes/0/command: expected a command line, not \"  \""},
      {R"({"gpus": [{"processes": [{"length": 5, "count": 1001}]}]})",
       "f:1: /gpus/0/processes/0: more than 1000 processes can only be listed by \"pid\""},
      {R"({"gpus": [{}], "processes": [{"command": "a"}]})",
       "f:1: /processes/0: a process of the machine names its \"gpus\""},
      {R"({"gpus": [{}], "processes": [{"command": "a", "gpus": [1]}]})",
       "f:1: /processes/0/gpus/0: there is no GPU 1, the machine has only 0"},
      {R"({"gpus": [{"vgpu": {"supported": [7]}}]})",
       "f:1: /gpus/0/vgpu/supported/0: the vGPU type 7 is none of \"vgpu_types\""},
      {R"({"gpus": [], "vgpu_types": [{"id": 7}, {"id": 7}]})",
       "f:1: /vgpu_types/1: another vGPU type has this id"},
      {R"({"vgpu_types": [{"id": 7}],
           "gpus": [{"vgpu": {"instances": [{"id": 3, "type": 7}]}},
                    {"vgpu": {"instances": [{"id": 3, "type": 7}]}}]})",
       "f:3: /gpus/1/vgpu/instances/0/id: another vGPU instance has the id 3"},
      {R"({"gpus": [{}], "faults": [{"code": 3}]})",
       "f:1: /faults/0: a fault names its \"operation\""},
      {R"({"gpus": [{}], "faults": [{"operation": "nvml*"}]})",
       "f:1: /faults/0: a fault has a \"code\", a \"latency_us\" or a \"grow\""},
      {R"({"gpus": [{}], "faults": [{"operation": "*", "code": 3, "keeps_growing": true}]})",
       "f:1: /faults/0: \"keeps_growing\" says how to \"grow\""},
      {R"({"vgpu_types": [{"id": 7}],
           "gpus": [{"count": 900, "vgpu": {"instances": [{"count": 4000, "type": 7}]}}]})",
       "f:2: /gpus/0: more processes and vGPU instances than can be simulated"},
      {R"({"gpus": [{}], "faults": [{"operation": "*", "code": 3, "gpu": 1}]})",
       "f:1: /faults/0/gpu: there is no GPU 1, the machine has only 0"},
      {R"({"gpus": [{}], "faults": [{"operation": "*", "code": 3, "probability": 2}]})",
       "f:1: /faults/0/probability: expected a number from 0 to 1, not 2"},
      {R"({"gpus": [{"placement": "node1/bridge0/port0/switch0"}]})",
       "f:1: /gpus/0/placement: there is no NUMA node 1, the machine has only 0"},
  };
  for (const Refusal& refusal : kRefusals) {
    EXPECT_EQ(problemOf(refusal.json), refusal.problem) << refusal.json;
  }
}

TEST(Refusal, NamesEveryProblemAndItsLine) {
  const std::string json = R"({
  // A comment, and /* another one */ {
  "gpus": [
    { "name": "\"a\\" /* " */ },
    {
      "clocks": {
        "sm": "fast", "sm":
          "slow" },
      "temperature": [ {}, "}" ], // ]
      "power~/usage": 1,
      "uui\td": 5
    }
  ],
  "lost": [{ "gpu": [1,
                     2] }], "init": "tiemout"
})";
  constexpr std::string_view kStarts[] = {
      "h:7: /gpus/1/clocks/sm: this key stands twice, for the first time in line 7",
      "h:8: /gpus/1/clocks/sm: expected a whole number",
      "h:9: /gpus/1/temperature: expected",
      "h:10: /gpus/1/power~0~1usage: unknown key, did you mean \"power_usage\"?",
      "h:11: /gpus/1/uui\\u0009d: unknown key",
      "h:15: /lost/0/gpu/1: there is no GPU 2, the machine has 0 to 1",
      "h:15: /init: unknown return code, did you mean \"timeout\"?",
  };
  std::vector<std::string> problems = readHost(json, "h").problems;
  ASSERT_EQ(problems.size(), std::size(kStarts));
  std::sort(problems.begin() + 5, problems.end(), std::greater<>());
  for (std::size_t i = 0; i < problems.size(); ++i) {
    EXPECT_EQ(problems[i].substr(0, kStarts[i].size()), kStarts[i]);
  }

  std::string wrong = R"({"gpus": [], "faults": [0)";
  for (int i = 0; i < 1500; ++i) wrong += ",\n0";
  problems = readHost(wrong + "]}", "h").problems;
  ASSERT_EQ(problems.size(), 1001U);
  EXPECT_EQ(problems[999], "h:1000: /faults/999: expected an object, not 0");
  EXPECT_EQ(problems[1000], "h: and 501 more problems");
}

TEST(Refusal, OfWhatCannotBeRead) {
  const std::string fifo = testing::TempDir() + "zansim-fifo-" + std::to_string(getpid());
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  for (const std::string& path : {fifo, std::string("/dev/null"), std::string("/tmp")}) {
    EXPECT_EQ(readHostFile(path).problems.front(), path + ": not a regular file");
  }
  unlink(fifo.c_str());
  EXPECT_EQ(readHostFile("/nonexistent/h.json").problems.front(),
            "/nonexistent/h.json: No such file or directory");
  constexpr std::size_t kDeep = 1'000'000;
  EXPECT_EQ(problemOf("{\"gpus\":\n" + std::string(kDeep, '[')),
            "f:2: nested more than 32 levels deep");
  EXPECT_EQ(problemOf("{\n\"gpu\xff\": []}"),
            "f:2: syntax error while parsing object key - invalid string: ill-formed UTF-8 byte; "
            "last read: '\"gpu?'; expected string literal");
  EXPECT_EQ(problemOf(std::string("{\n\0}", 4)), "f:2: a NUL byte");
  EXPECT_EQ(problemOf("{\"seed\": " + std::string(kDeep, '9') + "}").substr(0, 40),
            "f:1: number overflow parsing '9999999999");
}

// Whatever is cut out of or put into a description, reading it ends with a machine or a problem.
TEST(Refusal, SurvivesDamage) {
  const std::string good = R"({"seed": 3, "numa_nodes": [{"cpus": "0-3"}], "gpus": [{"count": 2,
      "name": {"fill": "x"}, "memory": {"used": {"signal": "walk", "min": 0, "max": "2 GiB"}},
      "placement": "node0/bridge0/port0/switch0", "processes": [{"length": 9}],
      "jpu": {"engines": 2, "busy": [1, {"signal": "steps", "values": [1, 2], "period": 0.5}]}}],
      "faults": [{"operation": ["nvml*Get*"], "gpu": [0], "code": "timeout", "after": 1.5}]})";
  ASSERT_EQ(problemOf(good), "");
  // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same damage in every run
  std::mt19937 random(20240307);
  const auto pick = [&](std::size_t below) { return random() % below; };
  constexpr std::string_view kPieces[] = {"\"",   "{",    "}",       "[",       "]",
                                          ",",    ":",    "-1",      "1e999",   "null",
                                          "true", "\xff", "\\u0000", "\"x\":1,"};
  for (int i = 0; i < 3000; ++i) {
    std::string damaged = good;
    for (std::size_t changes = 1 + pick(3); changes > 0; --changes) {
      const std::size_t at = pick(damaged.size());
      damaged.replace(at, pick(4), kPieces[pick(std::size(kPieces))]);
    }
    problemOf(damaged);
  }
}

}  // namespace
}  // namespace zansim
