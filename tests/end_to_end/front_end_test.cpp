// Command lines that end before any GPU is read, and machines without what every run needs.
#include "support/host.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace zanctl {
namespace {

constexpr const char* kNoDriver =
    "Zanctl has failed because it couldn't communicate with the Zanthe driver. Make sure that the "
    "latest Zanthe driver is installed and running.\n";

TEST(FrontEnd, refusesForbiddenShapesWithStatus111) {
  Host host("one-gpu");
  for (const char* line : {"-qx", "-i0", "-q -h", "dmon -d 1 --help", "-h -h"}) {
    const Outcome run = host.run(line);
    EXPECT_EQ(run.status, 111) << line;
    EXPECT_EQ(run.out, "\n") << line;
    EXPECT_EQ(run.err,
              "Invalid combination of input arguments: Too many positional arguments with "
              "unlimited expected args\nRun with --help for more information.\n");
  }
}

TEST(FrontEnd, refusesWhatItDoesNotKnow) {
  Host host("one-gpu");
  for (const auto& [line, status] : std::map<std::string, int>{{"--bogus", 109},
                                                               {"bogus", 109},
                                                               {"dmon --matrix", 109},
                                                               {"-i", 114},
                                                               {"--reset", 109},
                                                               {"-i 0 -i 0", 114}}) {
    const Outcome run = host.run(line);
    EXPECT_EQ(run.status, status) << line;
    EXPECT_EQ(run.out, "") << line;
    EXPECT_NE(run.err.find("Run with --help for more information.\n"), std::string::npos) << line;
  }
}

TEST(FrontEnd, listsEveryOptionButTheHiddenOnes) {
  Host host("one-gpu");
  const Outcome run = host.run("--help");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  std::size_t position = 0;
  for (const char* text : {"Zanthe System Management Interface, zanctl\n",
                           "  -h,--help ",
                           "  -i,--id TEXT ",
                           "  -L,--list-gpus ",
                           "  -q,--query ",
                           "place of the deault stdout.",
                           "  -x,--xml-format ",
                           "  --dtd ",
                           "  -d,--display TEXT ",
                           "  -l,--loop TEXT ",
                           "  --query-gpu TEXT ",
                           "  --query-compute-apps TEXT ",
                           "  --format TEXT ",
                           "  -r,--gpu-reset ",
                           "  --ce,--set-ce-mask TEXT ",
                           "\nDevice Monitoring:\n  dmon ",
                           "\n  daemon ",
                           "\n  replay ",
                           "\nProcess Monitoring:\n  pmon ",
                           "\nTOPOLOGY:\n  topo ",
                           "\nGRID vGPU:\n  vgpu ",
                           "\nSTATISTICS:\n  stats "}) {
    const std::size_t found = run.out.find(text, position);
    EXPECT_NE(found, std::string::npos) << text;
    position = found;
  }
  EXPECT_EQ(run.out.find("  --help-query"), std::string::npos);
  for (const char* word : {"dmon", "pmon", "topo", "vgpu", "stats", "daemon", "replay"}) {
    EXPECT_EQ(host.run(std::string(word) + " -h").status, 0) << word;
  }
}

TEST(FrontEnd, withoutTheLibraryHelpsAndRefusesAndThenGivesTheLoadersReason) {
  Host host = Host::described(machineOf("{}", R"("library": false)"));
  EXPECT_EQ(host.run("-h").status, 0);
  EXPECT_EQ(host.run("-q -L").status, 255);
  EXPECT_EQ(host.run("-q -L").err.find("zanctl:"), std::string::npos);
  const Outcome run = host.run("-L");
  EXPECT_EQ(run.status, 255);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err.find("zanctl: libzanml.so: "), 0U) << run.err;
  EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
}

TEST(FrontEnd, needsADriverNodeBeforeAnythingElse) {
  Host without = Host::described(machineOf("{}", R"("driver_nodes": false)"));
  for (const char* line : {"", "-h", "-qx", "--bogus"}) {
    const Outcome run = without.run(line);
    EXPECT_EQ(run.status, 255) << line;
    EXPECT_EQ(run.out, kNoDriver) << line;
    EXPECT_EQ(run.err, "") << line;
  }
  Host unreadable = Host::described(machineOf("{}", R"("driver_nodes": "unreadable")"));
  const Outcome run = unreadable.run("-L");
  EXPECT_EQ(run.status, 255);
  EXPECT_EQ(run.out, std::string("Cannot open /dev folder! \n") + kNoDriver);
}

// Leaves the marker set, as a reset does that is killed at work.
void leaveResetMarker(Host& host) {
  host.useClock(Clock::real);
  const std::string trace = (host.directory() / "trace").string();
  const Outcome run = host.runScript("$zanctl -r & until grep -q 'SetResetStatus(gpu0, 1) = 0' '" +
                                     trace + "'; do :; done 2>/dev/null; kill -KILL $!");
  ASSERT_EQ(run.status, 0) << run.err;
  host.useClock(Clock::standing);
}

constexpr const char* kSlowReset =
    R"("faults": [{"operation": "zanmlDeviceReset", "latency_us": 60000000}])";

TEST(ResetGuard, refusesASecondResetAndDelaysEverythingElse) {
  const std::string stars = std::string(75, '*') + "\n";
  const std::string abnormal =
      "If no other terminal executes reset at present, it means that the reset has been terminated "
      "abnormally.\nTo restore the reset exception, you need to re-insmod the driver.\n" +
      stars;
  Host host = Host::described(machineOf("{}", kSlowReset));
  leaveResetMarker(host);
  for (const char* line : {"-r", "--reset"}) {
    const Outcome run = host.run(line);
    EXPECT_EQ(run.status, 255) << line;
    EXPECT_EQ(run.out,
              fmt::format("{}The reset command cannot be executed at the same time, Please try "
                          "again later.\n{}",
                          stars, abnormal))
        << line;
  }
  const std::string banner =
      stars +
      "Currently in the state of executing reset card, the output will be delayed.\n"
      "If other terminals are executing reset, zanctl will output normally after the reset "
      "ends.\n" +
      abnormal;
  const Outcome run = host.run("");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out.find(banner + "Timestamp    Sat Mar  7 12:00:09 2026\n"), 0U)
      << "9.9 seconds later:\n"
      << run.out;
  EXPECT_EQ(host.run("-L -q").out, banner + "\n") << "refusals wait, too";
}

TEST(FrontEnd, selectsGpusOrRefusesTheListWhole) {
  Host host("eight-gpu");
  for (const char* list : {"8", "0,8", "4294967296", "99999999999999999999", "x", "17:00",
                           "GPU-00000000-0000-0000-0000-000000000000"}) {
    const Outcome run = host.run(std::string("-i ") + list);
    EXPECT_EQ(run.status, 255) << list;
    EXPECT_EQ(run.out, "No device were found\n") << list;
  }
  for (const char* list : {"", ","}) {
    EXPECT_EQ(host.runWords({"-i", list}).out, "No device were found\n");
    EXPECT_EQ(host.runWords({"--id=" + std::string(list)}).out, "No device were found\n");
  }
}

TEST(FrontEnd, saysWhenStandardOutputCannotBeWritten) {
  Host host("one-gpu");
  for (const char* target : {">/dev/full", ">&-"}) {
    const Outcome run = host.runScript(std::string("$zanctl ") + target);
    EXPECT_EQ(run.status, 255) << target;
    EXPECT_EQ(run.err, "zanctl: standard output could not be written\n") << target;
  }
  const Outcome file = host.runScript("$zanctl -f " + (host.directory() / "log").string() + " >&-");
  EXPECT_EQ(file.status, 0) << "nothing was lost";
}

}  // namespace
}  // namespace zanctl
