#include "reports/summary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace zanctl {
namespace {

SummaryGpu gpu(std::uint32_t index, std::uint32_t boardPosition) {
  SummaryGpu gpu{};
  gpu.index = index;
  gpu.info.name = "Zanthe KV100 with a name beyond its column";
  gpu.info.pci.bus = 0x3b;
  gpu.info.boardPosition = boardPosition;
  gpu.reading = {0, 61, 42, 71, 250, 140, 500, 97, 30, 40960, 40000, 960, 1410, 1215, 0};
  return gpu;
}

Summary emptySummary() {
  setenv("TZ", "UTC0", 1);
  Summary summary{};
  summary.time = 1772841845;
  summary.libraryVersion = "12.3.1";
  summary.driverVersion = "535.104.05";
  summary.cudaVersion = "N/A";
  return summary;
}

std::string written(const Summary& summary) {
  std::ostringstream out;
  writeSummary(out, summary);
  return out.str();
}

TEST(Summary, listsProcessesAndCountsThoseItCannotName) {
  Summary summary = emptySummary();
  summary.processes = {{0, {4711, "python train.py", 1024, false}},
                       {12, {4294967295, "vgpu", 0, false}},
                       {1, {5, "", 10, true}},
                       {1, {6, "", 10, false}}};
  const std::string text = written(summary);
  EXPECT_NE(text.find(R"(=|
|    0       4711      python train.py                             1024       |
|   12 4294967295      vgpu                                        0          |
+--)"),
            std::string::npos)
      << text;
  summary.processes.erase(summary.processes.begin(), summary.processes.begin() + 2);
  EXPECT_EQ(written(summary).find("No running"), std::string::npos)
      << "processes that cannot be named are processes";
}

TEST(Summary, everyLineHas79Characters) {
  Summary summary = emptySummary();
  summary.driverVersion = "5";
  summary.gpus = {gpu(0, 0), gpu(63, 1)};
  summary.processes = {{0, {1, std::string(100, 'x'), 99'999'999'999, false}}};
  std::istringstream lines(written(summary));
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    EXPECT_TRUE(line.empty() || line.size() == 79U) << line;
  }
}

TEST(ProcessNameColumn, keepsTheProgramsEndOrTheCommandsBeginning) {
  const std::string path42(42, 'p');
  EXPECT_EQ(processNameColumn("short"), "short" + std::string(37, ' '));
  EXPECT_EQ(processNameColumn(path42), path42);
  EXPECT_EQ(processNameColumn(std::string("/") + path42), "..." + path42.substr(0, 37) + "  ");
  EXPECT_EQ(processNameColumn(std::string("/") + path42 + " -x"),
            "..." + path42.substr(0, 37) + "  ");
  EXPECT_EQ(processNameColumn(path42 + " -x"), path42);
  EXPECT_EQ(processNameColumn(std::string(38, 'p') + " --arguments"),
            std::string(38, 'p') + "    ");
  EXPECT_EQ(processNameColumn(std::string(37, 'p') + " --arguments"),
            std::string(37, 'p') + " -...");
  EXPECT_EQ(processNameColumn("python " + std::string(50, 'a')),
            "python " + std::string(32, 'a') + "...");
  EXPECT_EQ(processNameColumn(" " + std::string(60, 'a')), " " + std::string(38, 'a') + "...");
}

}  // namespace
}  // namespace zanctl
