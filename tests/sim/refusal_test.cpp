#include "description/host_reader.h"

#include <gtest/gtest.h>

#include <string>

namespace zansim {
namespace {

struct Refusal {
  const char* json;
  const char* problem;
};

std::string problemOf(const std::string& json) {
  const HostReading reading = readHost(json, "f");
  EXPECT_EQ(reading.host.has_value(), reading.problems.empty()) << json;
  return reading.problems.empty() ? "" : reading.problems.front();
}

// One of each kind.
TEST(Refusal, SaysWhatIsWrongAndWhatIsAllowed) {
  const Refusal kRefusals[] = {
      {"",
       "f:1: syntax error while parsing value - unexpected end of input; expected '[', '{', or "
       "a literal"},
      {"{\"gpus\": [],\n\"seed\": 1e999}", "f:2: number overflow parsing '1e999'"},
      {"[]", "f:1: /: expected an object, not a list"},
      {"{}", "f:1: /: a machine needs \"gpus\""},
      {R"({"gpus": [], "cpus\n": 4})", R"(f:1: /cpus\n: unknown key, did you mean "cpus"?)"},
      {R"({"gpus": [], "cpus": 0})", "f:1: /cpus: expected a whole number from 1 to 8192, not 0"},
      {R"({"gpus": [], "missing": ["nvmlDeviceGetNaem"]})",
       "f:1: /missing/0: unknown operation, did you mean \"nvmlDeviceGetName\"?"},
      {R"({"gpus": [], "numa_nodes": [{"cpus": "3-1"}]})",
       "f:1: /numa_nodes/0/cpus: expected ascending CPU numbers below 8192 like \"0-7,16-23\", not "
       "\"3-1\""},
      {R"({"gpus": [], "numa_nodes": [{"cpus": "0-3"}, {"cpus": "3"}]})",
       "f:1: /numa_nodes/1: CPU 3 belongs to another NUMA node already"},
      {R"({"gpus": [{"count": 1000}, {"count": 25}]})",
       "f:1: /gpus/1: a machine has at most 1024 GPUs"},
      {R"({"gpus": [{}], "processes": [{"command": "a", "gpus": [7]}]})",
       "f:1: /processes/0/gpus/0: there is no GPU 7, the machine has only 0"},
      {R"({"gpus": [{"vgpu": {"supported": [7]}}]})",
       "f:1: /gpus/0/vgpu/supported/0: the vGPU type 7 is none of \"vgpu_types\""},
      {R"({"vgpu_types": [{"id": 7}],
           "gpus": [{"vgpu": {"instances": [{"id": 3, "type": 7}, {"id": 3, "type": 7}]}}]})",
       "f:2: /gpus: two vGPU instances have the id 3"},
      {R"({"gpus": [{}], "faults": [{"operation": "nvml*"}]})",
       "f:1: /faults/0: a fault has a \"code\", a \"latency_us\" or a \"grow\""},
      {R"({"gpus": [{}], "faults": [{"operation": "*", "code": 3, "probability": 2}]})",
       "f:1: /faults/0/probability: expected a number from 0 to 1, not 2"},
  };
  for (const Refusal& refusal : kRefusals) {
    EXPECT_EQ(problemOf(refusal.json), refusal.problem) << refusal.json;
  }
}

TEST(Refusal, OfGpus) {
  const Refusal kRefusals[] = {
      {R"("clocks": {"sm": 1, "bus": 2})",
       "/clocks/bus: unknown key, the keys here are graphics, memory, sm, video"},
      {R"("temperature": 40.5)",
       "/temperature: expected a whole number from 0 to 254, a signal or \"unavailable\", not "
       "40.5"},
      {R"("memory": {"total": "16 GB"})",
       "/memory/total: expected a whole number from 0 to 1125899906842624 or a text like \"16 "
       "GiB\", a signal or \"unavailable\", not \"16 GB\""},
      {R"("ecc": {"current": "on"})",
       "/ecc/current: expected one of \"disabled\", \"enabled\", \"false\", \"true\", or a number "
       "from 0 to 1, a signal or \"unavailable\", not \"on\""},
      {R"("voltages": {"gpu": {"signal": "sine", "min": 0, "max": 1}})",
       "/voltages/gpu: this attribute cannot be a signal"},
      {R"("name": "a\u0000b")", "/name: a text holds no NUL"},
      {R"("temperature": {"signal": "saw", "min": 1, "max": 2})",
       R"(/temperature/signal: expected "sine", "ramp", "steps" or "walk", not "saw")"},
      {R"("temperature": {"signal": "sine", "min": 1})",
       "/temperature: this signal has \"min\" and \"max\", and no \"values\""},
      {R"("temperature": {"signal": "sine", "min": 3, "max": 2})",
       "/temperature: \"min\" is above \"max\""},
      {R"("temperature": {"signal": "sine", "min": 1, "max": 2, "period": 0})",
       "/temperature/period: expected a number of seconds from 0.001 to 1000000, not 0"},
      {R"("placement": "node1/bridge0/port0/switch0")",
       "/placement: there is no NUMA node 1, the machine has only 0"},
      {R"("jpu": {"engines": 3, "busy": [1, 2]})",
       "/jpu: the list \"busy\" has not one entry for each of the \"engines\""},
      {R"("processes": [{"command": "a", "pid": 4}])",
       "/processes/0: a process has one of \"command\", \"length\", \"kind\" and \"pid\""},
  };
  for (const Refusal& refusal : kRefusals) {
    EXPECT_EQ(problemOf(R"({"gpus": [{)" + std::string(refusal.json) + "}]}"),
              std::string("f:1: /gpus/0") + refusal.problem);
  }
}

TEST(Refusal, NamesEveryProblemAndItsLine) {
  const std::string json = R"({
  // A comment, and /* another one */ {
  "gpu": 3, "gpus": [
    { "name": "\"a\\" /* " */ },
    {
      "clocks": {
        "sm": "fast", "sm":
          "slow" },
      "temperature": [ {}, "}" ], // ]
      "uui\td": 5
    }
  ],
  "lost": [{ "gpu": [1,
                     2] }],
  "faults": [{ "operation": "*", "code": "tiemout" }]
})";
  constexpr std::string_view kStarts[] = {
      "h:3: /gpu: unknown key, did you mean \"gpus\"?",
      "h:7: /gpus/1/clocks/sm: expected a whole number",
      "h:8: /gpus/1/clocks/sm: this key stands twice, for the first time in line 7",
      "h:9: /gpus/1/temperature: expected",
      "h:10: /gpus/1/uui\\td: unknown key",
      "h:14: /lost/0/gpu/1: there is no GPU 2, the machine has 0 to 1",
      "h:15: /faults/0/code: unknown return code, did you mean \"timeout\"?",
  };
  const std::vector<std::string> problems = readHost(json, "h").problems;
  ASSERT_EQ(problems.size(), std::size(kStarts));
  for (std::size_t i = 0; i < problems.size(); ++i) {
    EXPECT_EQ(problems[i].substr(0, kStarts[i].size()), kStarts[i]);
  }
}

TEST(Refusal, OfWhatCannotBeRead) {
  EXPECT_EQ(readHostFile("/dev/null").problems.front(), "/dev/null: not a regular file");
  EXPECT_EQ(readHostFile("/nonexistent/h.json").problems.front(),
            "/nonexistent/h.json: No such file or directory");
  EXPECT_EQ(problemOf("{\"gpus\":\n" + std::string(1'000'000, '[')),
            "f:2: nested more than 32 levels deep");
}

}  // namespace
}  // namespace zansim
