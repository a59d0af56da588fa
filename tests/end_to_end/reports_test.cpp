// The detailed reports and the CSV queries of whole machines.
#include "support/host.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

namespace zanctl {
namespace {

constexpr const char* kKnownAndUnknown = "known_and_unknown.json";

TEST(TextReport, printsEverySection) {
  Host host = Host::fromFile(kKnownAndUnknown);
  const Outcome full = host.run("-q");
  EXPECT_EQ(full.status, 0);
  expectGolden("text_report.txt", full.out);
  expectGolden("text_report_hardware.txt", host.run("-q -d HARDWARE_MONITOR").out);
  expectGolden("text_report_sections.txt", host.run("-q -d POWER,CLOCK,COMPUTE,ECC,PIDS").out);
  EXPECT_EQ(full.out,
            host.run("-q -d MEMORY,UTILIZATION,ECC,TEMPERATURE,POWER,CLOCK,COMPUTE,PERFORMANCE,"
                     "PAGE_RETIREMENT,PIDS")
                .out)
      << "all ten sections are the full report";
}

TEST(TextReport, refusesUnknownSections) {
  Host host("one-gpu");
  for (const char* list : {"memory", "MEMORY,", ",", "MEMORY,,ECC", "MEMORY ECC"}) {
    const Outcome run = host.runWords({"-q", "-d", list});
    EXPECT_EQ(run.out, "Failed to parse --display/-d flags \n") << list;
    EXPECT_EQ(run.status, 0);
  }
  const Outcome run = host.run("-q -l 0 -d nonsense");
  EXPECT_EQ(run.out,
            "Provided [-l | --loop=] value is incorrect. Loop frequency must be greater than 0.\n"
            "The value -l, --loop is not an allowed value for 0. Run with --help for more "
            "information.\n\n");
  EXPECT_EQ(run.status, 0);
}

// Processes that are shown, gone, the program's own, a virtual GPU's; and many of them.
std::string withProcesses() {
  return machineOf(R"(
    {"processes": [{"kind": "self", "memory": "1 GiB"}]},
    {"processes": [{"kind": "self"}, {"kind": "dead"}]},
    {"processes": [{"command": "train <&> now", "memory": "3 GiB"}, {"kind": "self"},
                   {"command": "hypervisor", "vgpu": true, "memory": "5 MiB"}, {"kind": "dead"}]},
    {"processes": [{"command": "worker", "count": 25, "memory": "1 MiB"}]},
    {})");
}

TEST(Processes, areChosenAlikeInTextAndXml) {
  Host host = Host::described(withProcesses());
  const std::string text = host.run("-q -d PIDS").out;
  const std::string none = "    Processes                                   : None\n";
  std::vector<std::string> sections;
  for (std::size_t at = 0; (at = text.find("\nGPU 0", at)) != std::string::npos; ++at) {
    const std::size_t begin = text.find('\n', at + 1) + 1;
    sections.push_back(text.substr(begin, text.find("\n\n", begin) + 1 - begin));
  }
  ASSERT_EQ(sections.size(), 5U) << text;
  EXPECT_EQ(sections[0], none);
  EXPECT_EQ(sections[1], "    Processes\n");
  EXPECT_EQ(sections[4], none);
  EXPECT_NE(sections[2].find("            Name                                : train <&> now\n"
                             "            Used GPU Memory                     : 3072 MiB\n"),
            std::string::npos);
  EXPECT_NE(sections[2].find("            Type                                : C\n"
                             "            Name                                : vgpu\n"),
            std::string::npos);
  const std::string xml = host.run("-q -x").out;
  const auto count = [](const std::string& where, const std::string& what) {
    int found = 0;
    for (std::size_t at = 0; (at = where.find(what, at)) != std::string::npos; ++at) ++found;
    return found;
  };
  EXPECT_EQ(count(text, "Process ID"), 27);
  EXPECT_EQ(count(xml, "\t\t\t<process_info>\n"), 27);
  EXPECT_EQ(count(xml, "\t\t<processes>\n\t\t</processes>\n"), 3);
  EXPECT_NE(xml.find("<process_name>train <&> now</process_name>"), std::string::npos);
}

class ShippedHost : public testing::TestWithParam<const char*> {};

TEST_P(ShippedHost, givesValidDocuments) {
  Host host(GetParam());
  const Outcome run = host.runScript(
      "cd '" + host.directory().string() +
      "' && $zanctl --dtd >zanctl_device.dtd && $zanctl -q -x >external.xml &&"
      " $zanctl -q -x --dtd >embedded.xml && xmllint --noout --dtdvalid zanctl_device.dtd"
      " external.xml && xmllint --noout --valid embedded.xml");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out + run.err, "");
}

INSTANTIATE_TEST_SUITE_P(Reports, ShippedHost,
                         testing::Values("one-gpu", "eight-gpu", "vgpu-host", "large-host",
                                         "failing-host"));

TEST(XmlReport, wrapsEveryPassInADocumentOfItsOwn) {
  Host host = Host::fromFile(kKnownAndUnknown);
  const std::string external = host.run("-q -x").out;
  expectGolden("report.xml", external);
  const std::string dtd = host.run("--dtd").out;
  EXPECT_EQ(host.run("-q -x --dtd")
                .out.find("<?xml version=\"1.0\" ?>\n<!DOCTYPE zanctl_log [\n" + dtd +
                          "]>\n<zanctl_log>\n"),
            0U);
  const std::string log = (host.directory() / "log").string();
  const Outcome run = host.runScript(
      fmt::format("$zanctl -q -x -l -f {0} &\nuntil grep -q 12:00:10 {0}; do :; done 2>/dev/null\n"
                  "cp {0} {0}.kept; rm {0}; wait $!",
                  log));
  EXPECT_EQ(run.out, "Failed to write the log file " + log + "\n");
  EXPECT_EQ(run.status, 0);
  std::ifstream kept(log + ".kept");
  const std::string documents(std::istreambuf_iterator<char>(kept), {});
  EXPECT_EQ(documents.substr(0, external.size()), external);
  EXPECT_EQ(documents.substr(external.size(), 23), "<?xml version=\"1.0\" ?>\n");
}

std::string allProperties(Host& host) {
  std::istringstream help(host.run("--help-query-gpu").out);
  std::string names;
  for (std::string line; std::getline(help, line); std::getline(help, line)) {
    names += (names.empty() ? "" : ",") + line.substr(1, line.find('"', 1) - 1);
  }
  return names;
}

TEST(PropertyQuery, answersEveryProperty) {
  Host host = Host::fromFile(kKnownAndUnknown);
  const std::string query = "--query-gpu=" + allProperties(host) + " --format=csv";
  const Outcome run = host.run(query);
  EXPECT_EQ(run.status, 0);
  expectGolden("all_properties.csv", run.out);
  for (const auto& [operation, count] : host.callCounts()) {
    // Two engines, two clocks, three thresholds: as many calls a GPU as there are figures.
    EXPECT_LE(count, 6) << operation;
  }
}

TEST(PropertyQuery, readsOnlyWhatIsAsked) {
  Host host("eight-gpu");
  const auto callsFor = [&host](const std::string& query) {
    host.run("--query-gpu=" + query + " --format=csv");
    auto counts = host.callCounts();
    for (const char* session : {"nvmlInit", "nvmlShutdown", "nvmlDeviceGetCount_v2",
                                "nvmlDeviceGetHandleByIndex_v2", "zanmlDeviceGetResetStatus"}) {
      counts.erase(session);
    }
    return counts;
  };
  using Counts = std::map<std::string, int>;
  EXPECT_EQ(callsFor("memory.used"), (Counts{{"nvmlDeviceGetMemoryInfo", 8}}));
  EXPECT_EQ(callsFor("memory.used,memory.free,memory.total,memory.used"),
            (Counts{{"nvmlDeviceGetMemoryInfo", 8}}));
  EXPECT_EQ(callsFor("pci.bus,gpu_bus_id,pci.domain"), (Counts{{"nvmlDeviceGetPciInfo", 8}}));
  EXPECT_EQ(callsFor("count,timestamp"), Counts{});
  EXPECT_EQ(callsFor("driver_version"), (Counts{{"nvmlSystemGetDriverVersion", 1}}));
  EXPECT_EQ(callsFor("board.power.draw"), (Counts{{"nvmlDeviceGetBoardId", 4},
                                                  {"zanmlDeviceGetBoardPosition", 8},
                                                  {"zanmlDeviceGetBoardPowerUsage", 4}}))
      << "boards of two";
}

TEST(PropertyQuery, namesColumnsByTheirFirstNameAndShapesThem) {
  Host host = Host::fromFile(kKnownAndUnknown);
  EXPECT_EQ(host.run("--query-gpu=name,gpu_name,clocks.sm,retired_pages.dbe --format=csv").out,
            "name, name, clocks.current.sm [MHz], retired_pages.double_bit_ecc.count\n"
            "Zanthe KV100, Zanthe KV100, 1410 MHz, 0\n[N/A], [N/A], [N/A], [N/A]\n");
  EXPECT_EQ(host.run("--query-gpu=clocks.mem,fan.speed --format=nounits,csv,noheader -i 0").out,
            "1215, 42\n");
  EXPECT_EQ(host.run("--query-gpu=fan.speed --format=csv,nounits,csv -i 0").out,
            "fan.speed [%]\n42\n");
}

TEST(CsvQueries, refuseInOneOrder) {
  Host host("one-gpu");
  const std::string log = (host.directory() / "none" / "log").string();
  const std::string loop =
      "Provided [-l | --loop=] value is incorrect. Loop frequency must be greater than 0.\nThe "
      "value -l, --loop is not an allowed value for 0x. Run with --help for more information.\n";
  const std::string missing = "\"--format=\" switch is missing. Please run 'zanctl -h' for help.\n";
  const std::string unknown = "Format modifier is not recognized.\n";
  const std::string mandatory = "Format modifier --format=csv is mandatory.\n";
  const std::string field = "Field \"bogus\" is not a valid field to query.\n\n";
  for (const char* query : {"--query-gpu=name,bogus,worse", "--query-compute-apps=pid,bogus"}) {
    for (const auto& [rest, message] : std::vector<std::pair<std::string, std::string>>{
             {"-l 0x", loop},
             {"-f " + log, missing},
             {"--format=csv,json -f " + log, unknown},
             {"--format= -f " + log, unknown},
             {"--format=csv, -f " + log, unknown},
             {"--format=nounits,noheader -f " + log, mandatory},
             {"--format=csv -f " + log, field}}) {
      const Outcome run = host.run(std::string(query) + " " + rest);
      EXPECT_EQ(run.out, message) << query << " " << rest;
      EXPECT_EQ(run.status, 255) << query << " " << rest;
    }
  }
  for (const char* query : {"--query-gpu", "--query-compute-apps"}) {
    const Outcome empty = host.run(std::string(query) + "= --format=csv");
    EXPECT_EQ(empty.out, "Field \"\" is not a valid field to query.\n\n");
    EXPECT_EQ(empty.status, 255);
    const Outcome run = host.run(fmt::format("{} timestamp --format csv -f {}", query, log));
    EXPECT_EQ(run.out, "Failed to create the log file " + log + "\n");
    EXPECT_EQ(run.status, 255);
    const Outcome full = host.run(fmt::format("{} timestamp --format csv -l -f /dev/full", query));
    EXPECT_EQ(full.out, "Failed to write the log file /dev/full\n");
    EXPECT_EQ(full.status, 255);
  }
}

TEST(CsvQueries, printTheHeaderOnceInALoop) {
  Host host = Host::fromFile(kKnownAndUnknown);
  const std::string log = (host.directory() / "log").string();
  const Outcome run = host.runScript(fmt::format(
      "$zanctl --query-gpu=timestamp --format=csv -i 0 -l 2 -f {0} &\n"
      "until grep -q 12:00:04 {0}; do :; done 2>/dev/null\ncp {0} {0}.kept; rm {0}; wait $!",
      log));
  EXPECT_EQ(run.status, 255);
  EXPECT_EQ(run.out, "Failed to write the log file " + log + "\n");
  std::ifstream kept(log + ".kept");
  const std::string text(std::istreambuf_iterator<char>(kept), {});
  EXPECT_EQ(text.find("timestamp\n2026-03-07 12:00:00\n2026-03-07 12:00:02\n2026-03-07 12:00:04\n"),
            0U)
      << text;
}

TEST(ComputeQuery, printsALineAProcess) {
  Host host = Host::described(withProcesses());
  const Outcome run =
      host.run("--query-compute-apps=name,used_memory,process_name --format=csv -i 2,4");
  EXPECT_EQ(run.status, 0);
  std::istringstream lines(run.out);
  std::vector<std::string> rows;
  for (std::string line; std::getline(lines, line);) rows.push_back(line);
  ASSERT_EQ(rows.size(), 5U) << run.out;
  EXPECT_EQ(rows[0], "process_name, used_gpu_memory [MiB], process_name");
  EXPECT_EQ(rows[1], "train <&> now, 3072 MiB, train <&> now");
  EXPECT_NE(rows[2].find("zanctl --query-compute-apps=name"), std::string::npos)
      << "its own process is one like any other";
  EXPECT_EQ(rows[3], "vgpu, 5 MiB, vgpu");
  EXPECT_EQ(rows[4].find(", "), 0U) << "a process that is gone has no name";
  const std::string many = host.run("--query-compute-apps=pid --format=csv,noheader -i 3").out;
  EXPECT_EQ(std::count(many.begin(), many.end(), '\n'), 25);
  EXPECT_EQ(host.run("--query-compute-apps=gpu_name,gpu_uuid --format=csv -i 4").out,
            "gpu_name, gpu_uuid\n");
  EXPECT_EQ(host.callCounts()["nvmlDeviceGetName"], 0) << "nothing is read for no process";
}

TEST(SingleReport, saysWhenItsFileIsGone) {
  Host host("large-host");
  // The reader of a named pipe takes its name away while the report, larger than the pipe, waits.
  const std::string pipe = (host.directory() / "pipe").string();
  const Outcome run = host.runScript(fmt::format(
      "mkfifo {0}\n$zanctl -q -f {0} &\n{{ rm {0}; cat >/dev/null; }} <{0}\nwait $!", pipe));
  EXPECT_EQ(run.out, "Failed to write the log file " + pipe + "\n");
  EXPECT_EQ(run.status, 0);
}

}  // namespace
}  // namespace zanctl
