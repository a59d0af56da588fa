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

// A GPU whose every attribute is known, and one that knows nothing.
std::string knownAndUnknown() {
  return machineOf(R"(
    {"name": "Zanthe KV100", "serial": "1560921000042", "uuid": "GPU-1", "part_number": "900-1",
     "minor_number": 7, "board": {"id": 768, "position": 0, "multi": 1, "power_usage": 310, "power_limit": 500,
       "temperature": 44, "sn": 81985529216486, "pn": "PN-7"},
     "pci": {"domain": 1, "bus": 59, "device": 2, "device_id": 469835546, "subsystem_id": 1056602},
     "pcie": {"generation": 3, "max_generation": 4, "width": 8, "max_width": 16, "tx": 1200, "rx": 0},
     "fan_speed": 42, "power_usage": 71, "power_limit": 250, "compute_mode": "prohibited",
     "performance_state": "P2", "virtualization_mode": "host_vgpu", "host_vgpu_mode": "sriov",
     "ecc": {"current": "disabled", "pending": "enabled"},
     "temperature": 61, "temperature_shutdown": 105, "temperature_slowdown": 95, "temperature_max": 90,
     "clocks": {"sm": 1410, "memory": 1215}, "max_clocks": {"sm": 1530, "memory": 1216},
     "utilization": {"gpu": 97, "memory": 41, "encoder": 5, "decoder": 6},
     "memory": {"total": 34359738368, "used": 1048575}, "retired_pages": {"single_bit": 3, "double_bit": 0},
     "voltages": {"gpu": "0.85", "vdd": "12.1", "memory": "1.2"}, "gpu_sn": 48879,
     "firmware_version": "2.4", "hardware_version": "A1", "manufacture_date": "2023-08-14",
     "ce": {"mask": 126, "supported": 252}},
    {"name": "unavailable", "serial": "00000000000000", "uuid": "unavailable", "part_number": "FFFFFFFF",
     "minor_number": "unavailable", "board": "unavailable", "pci": "unavailable", "pcie": "unavailable",
     "fan_speed": "unavailable", "power_usage": "unavailable", "power_limit": "unavailable",
     "compute_mode": "unavailable", "performance_state": "unavailable", "virtualization_mode": "unavailable",
     "ecc": "unavailable", "temperature": "unavailable", "temperature_shutdown": "unavailable",
     "temperature_slowdown": "unavailable", "temperature_max": "unavailable", "clocks": "unavailable",
     "max_clocks": "unavailable", "utilization": "unavailable", "memory": "unavailable",
     "retired_pages": "unavailable", "voltages": "unavailable", "gpu_sn": "unavailable",
     "firmware_version": "unavailable", "hardware_version": "unavailable",
     "manufacture_date": "unavailable", "ce": "unavailable"})",
                   R"("driver_version": "1.8.2", "cuda_version": 12020,
                      "faults": [{"operation": "nvmlDeviceGetIndex", "gpu": 1, "code": 999}])");
}

constexpr const char* kTextHead = R"(
==============ZANCTL LOG==============
Timestamp                                       : Sat Mar  7 12:00:00 2026
Driver Version                                  : 1.8.2
CUDA Version                                    : 12.2

Attached GPU device count                       : 2
)";

TEST(TextReport, printsEverySectionOfAKnownGpu) {
  Host host = Host::described(knownAndUnknown());
  const Outcome run = host.run("-q -i 0");
  EXPECT_EQ(run.status, 0);
  // The blanks behind the padded headings are part of the layout.
  std::string expected = std::string(kTextHead) + R"(GPU 00000001:3B:02.0
    Product Name                                : Zanthe KV100
    Serial Number                               : 1560921000042
    GPU UUID                                    : GPU-1
    Minor Number                                : 7
    MultiGPU Board                              : Yes
    Board ID                                    : 0x300
    GPU Position                                : 0
    GPU Part Number                             : 900-1
    GPU Virtualization Mode
        Virtualization Mode                     : Host VGPU
        Host VGPU Mode                          : SR-IOV
    PCI
        Bus                                     : 0x3B
        Device                                  : 0x02
        Domain                                  : 0x0001
        Device Id                               : 0x1C011F1A
        Bus Id                                  : 00000001:3B:02.0
        Sub System Id                           : 0x00101F5A
        GPU Link Info                           |
            PCIe Generation                     |
                Max                             : 4
                Current                         : 3
            Link Width                          |
                Max                             : 16x
                Current                         : 8x
        Tx Throughput                           : 1200 KB/s
        Rx Throughput                           : 0 KB/s
    Fan Speed                                   : 42 %
    Memory Usage
        Total                                   : 32768 MiB
        Used                                    : 0 MiB
        Free                                    : 32767 MiB
    Utilization
        Gpu                                     : 97 %
        Memory                                  : 41 %
        Encoder                                 : 5 %
        Decoder                                 : 6 %
    Ecc Mode
        Current                                 : Disabled
        Pending                                 : N/A
    Temperature
        GPU Current Temp                        : 61 C
        GPU Shutdown Temp                       : 105 C
        GPU Slowdown Temp                       : 95 C
        GPU Max Operating Temp                  : 90 C
    Power Readings
        GPU Power Draw                          : 71 W
        GPU Power Limit                         : 250 W
        Board Power Draw                        : 310 W
        Board Power Limit                       : 500 W
    Clocks
        SM                                      : 1410 MHz
        Memory                                  : 1215 MHz
    Max Clocks
        SM                                      : 1530 MHz
        Memory                                  : 1216 MHz
    Compute Mode                                : Prohibited
    Performance State                           : P2
    Retired Pages
        Single Bit ECC                          : 3
        Double Bit ECC                          : 0
    Processes                                   : None

)";
  for (std::size_t bar = 0; (bar = expected.find("|\n")) != std::string::npos;) {
    expected.erase(bar, 1);
  }
  EXPECT_EQ(run.out, expected);
}

TEST(TextReport, marksWhatAGpuDoesNotKnow) {
  Host host = Host::described(knownAndUnknown());
  const std::string out =
      host.run("-q -i 1 -d POWER,CLOCK,COMPUTE,MEMORY,HARDWARE_MONITOR,ECC").out;
  EXPECT_EQ(out, std::string(kTextHead) + R"(GPU 00000000:00:00.0
    Memory Usage
        Total                                   : 0 MiB
        Used                                    : 0 MiB
        Free                                    : 0 MiB
    Ecc Mode
        Current                                 : Disabled
        Pending                                 : N/A
    Power Readings
        GPU Power Draw                          : N/A
        GPU Power Limit                         : N/A
        Board Power Draw                        : N/A
        Board Power Limit                       : N/A
    Clocks
        SM                                      : 0 MHz
        Memory                                  : 0 MHz
    Max Clocks
        SM                                      : N/A
        Memory                                  : N/A
    Compute Mode                                : Default
    Hardware Monitor
        Device ID                               : 0x0000
        Vendor ID                               : 0x0000
        Sub Device ID                           : 0x0000
        Sub Vendor ID                           : 0x0000
        Hardware Version                        : N/A
        Firmware Version                        : N/A
        VCC12 Voltage                           : N/A
        GPU Voltage                             : N/A
        Memory Voltage                          : N/A
        GPU SN                                  : N/A
        Board PN                                : N/A
        Board SN                                : N/A
        Board Temperature                       : N/A
        Date of Manufacture                     : N/A
        CE MASK                                 : N/A
        CE GOLDEN MASK                          : N/A

)");
}

TEST(TextReport, showsTheHardwareMonitorOnlyWhenItIsNamed) {
  Host host = Host::described(knownAndUnknown());
  EXPECT_EQ(host.run("-q -d HARDWARE_MONITOR -i 0").out,
            std::string(kTextHead) + R"(GPU 00000001:3B:02.0
    Hardware Monitor
        Device ID                               : 0x1C01
        Vendor ID                               : 0x1F1A
        Sub Device ID                           : 0x0010
        Sub Vendor ID                           : 0x1F5A
        Hardware Version                        : A1
        Firmware Version                        : 2.4
        VCC12 Voltage                           : 12.1
        GPU Voltage                             : 0.85
        Memory Voltage                          : 1.2
        GPU SN                                  : 0x0000BEEF
        Board PN                                : PN-7
        Board SN                                : 004A90BE587DE6
        Board Temperature                       : 44 C
        Date of Manufacture                     : 2023-08-14
        CE MASK                                 : 0x7E
        CE GOLDEN MASK                          : 0xFC

)");
  const std::string all =
      host.run(
              "-q -d "
              "MEMORY,UTILIZATION,ECC,TEMPERATURE,POWER,CLOCK,COMPUTE,PERFORMANCE,PAGE_RETIREMENT,"
              "PIDS -i 0")
          .out;
  EXPECT_EQ(all, host.run("-q -i 0").out) << "all ten sections are the full report";
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
  Host host = Host::described(knownAndUnknown());
  const std::string external = host.run("-q -x").out;
  EXPECT_EQ(external.find("<?xml version=\"1.0\" ?>\n"
                          "<!DOCTYPE zanctl_log SYSTEM \"zanctl_device.dtd\">\n"
                          "<zanctl_log>\n"
                          "\t<timestamp>Sat Mar  7 12:00:00 2026</timestamp>\n"
                          "\t<driver_version>1.8.2</driver_version>\n"
                          "\t<cuda_version>12.2</cuda_version>\n"
                          "\t<attached_gpus>2</attached_gpus>\n"
                          "\t<gpu id=\"00000001:3B:02.0\">\n"
                          "\t\t<product_name>Zanthe KV100</product_name>\n"),
            0U);
  EXPECT_NE(external.find("\t\t<board_id>300</board_id>\n\t\t<gpu_position>0</gpu_position>\n"),
            std::string::npos);
  EXPECT_NE(external.find("\t\t\t\t\t<current_link_width>8x</current_link_width>\n"),
            std::string::npos);
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
  Host host = Host::described(knownAndUnknown());
  const std::string query = "--query-gpu=" + allProperties(host) + " --format=csv";
  const Outcome run = host.run(query);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(
      run.out,
      "timestamp, driver_version, cuda_version, count, name, serial, uuid, board_id, part_number, "
      "pci.bus_id, pci.domain, pci.bus, pci.device, pci.device_id, pci.sub_device_id, "
      "pcie.link.gen.current, pcie.link.gen.max, pcie.link.width.current, pcie.link.width.max, "
      "pcie.tx.throughput [KB/s], pcie.rx.throughput [KB/s], index, pstate, memory.total [MiB], "
      "memory.used [MiB], memory.free [MiB], utilization.gpu [%], utilization.memory [%], "
      "utilization.encoder [%], utilization.decoder [%], ecc.mode.current, ecc.mode.pending, "
      "temperature.gpu [C], temperature.shutdown [C], temperature.slowdown [C], "
      "temperature.max_operating [C], gpu.power.draw [W], gpu.power.limit [W], board.power.draw "
      "[W], board.power.limit [W], clocks.current.sm [MHz], clocks.current.memory [MHz], "
      "clocks.max.sm [MHz], clocks.max.memory [MHz], compute_mode, fan.speed [%], minor_number, "
      "multigpu_board, gpu_position, virt.gpu_virt_mode, virt.host_vgpu_mode, "
      "retired_pages.single_bit_ecc.count, retired_pages.double_bit_ecc.count\n"
      "2026-03-07 12:00:00, 1.8.2, 12.2, 2, Zanthe KV100, 1560921000042, GPU-1, 0x300, 900-1, "
      "00000001:3B:02.0, 0x0001, 0x3B, 0x02, 0x1C011F1A, 0x00101F5A, 3, 4, 8, 16, 1200 KB/s, 0 "
      "KB/s, 0, P2, 32768 MiB, 0 MiB, 32767 MiB, 97 %, 41 %, 5 %, 6 %, Disabled, [N/A], 61 C, 105 "
      "C, 95 C, 90 C, 71 W, 250 W, 310 W, 500 W, 1410 MHz, 1215 MHz, 1530 MHz, 1216 MHz, "
      "Prohibited, 42 %, 7, Yes, 0, Host VGPU, SR-IOV, 3, 0\n"
      "2026-03-07 12:00:00, 1.8.2, 12.2, 2, [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], "
      "[N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], "
      "[N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], "
      "[N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], [N/A], No, [N/A], None, "
      "[N/A], [N/A], [N/A]\n");
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
  Host host = Host::described(knownAndUnknown());
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
  Host host = Host::described(knownAndUnknown());
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
