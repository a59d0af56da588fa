#include "reports/summary.h"

#include <gtest/gtest.h>

#include <sstream>

namespace zanctl {
namespace {

TEST(Summary, everyLineHas79Characters) {
  SummaryGpu gpu{};
  gpu.index = 63;
  gpu.name = "Zanthe KV100 with a name beyond its column";
  gpu.temperature = gpu.fanSpeed = gpu.power = gpu.powerLimit = 4'000'000'000U;
  std::string text;
  writeSummaryGpu(text, gpu);
  writeSummaryGpu(text, SummaryGpu{});
  writeSummaryProcess(text, 12, {4294967295, "vgpu", 0, false});
  writeSummaryProcess(text, 0, {1, std::string(100, 'x'), 99'999'999'999ULL << 20U, false});
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) EXPECT_EQ(line.size(), 79U) << line;
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
