#include "daemon/playback.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace zanctl {
namespace {

constexpr TimeRange kWholeDay;
constexpr TimeRange kTenToEleven{10 * 3600, 11 * 3600};

// What becomes of a log: "H1" and "H2" stand for its header lines, "GPU@TIME" for a record.
// Lines that are shown come back, "|" stands for a pause before one and "." for the end.
std::string played(const std::string& log, TimeRange range = kWholeDay, DeviceSet selection = {}) {
  Playback playback(range, std::move(selection));
  std::istringstream words(log);
  std::string result;
  for (std::string word; words >> word;) {
    std::string line = word;
    if (word == "H1") line = kStatsHeader1;
    if (word == "H2") line = kStatsHeader2;
    if (const auto at = word.find('@'); at != std::string::npos) {
      line = " " + word.substr(at + 1) + " " + word.substr(0, at) + " 1 1 - 1 1 1 1 1 1";
    }
    switch (playback.next(line)) {
      case Playback::Answer::skip:
        break;
      case Playback::Answer::stop:
        return result + ".";
      case Playback::Answer::pauseAndPrint:
        result += "|";
        [[fallthrough]];
      case Playback::Answer::print:
        result += word + " ";
        break;
    }
  }
  return result;
}

TEST(Playback, pausesOncePerCycleButNotBeforeTheFirst) {
  EXPECT_EQ(played("H1 H2 0@1:0:0 1@1:0:0 0@1:0:1 1@1:0:1 H1 H2 0@1:0:2 1@1:0:2"),
            "H1 H2 0@1:0:0 1@1:0:0 |0@1:0:1 1@1:0:1 H1 H2 |0@1:0:2 1@1:0:2 ");
  EXPECT_EQ(played("0@1:0:0 0@1:0:0 00@1:0:0"), "0@1:0:0 |0@1:0:0 |00@1:0:0 ") << "one GPU";
  EXPECT_EQ(played("0@1:0:0 1@1:0:0 1@1:0:1 0@1:0:2"), "0@1:0:0 1@1:0:0 |1@1:0:1 0@1:0:2 ")
      << "a GPU that joins and one that leaves";
}

TEST(Playback, showsSelectedGpusAndDoesNotPauseForOthers) {
  EXPECT_EQ(played("H1 H2 0@1:0:0 1@1:0:0 2@1:0:0 0@1:0:1 1@1:0:1 2@1:0:1", kWholeDay, {1}),
            "H1 H2 1@1:0:0 |1@1:0:1 ");
  EXPECT_EQ(played("4294967295@1:0:0 2147483648@1:0:0 99999999999@1:0:0", kWholeDay, {0}), "");
}

TEST(Playback, showsTheRangeWithBothEnds) {
  EXPECT_EQ(played("0@9:59:59 0@10:0:0 0@11:0:0 0@11:0:1", kTenToEleven), "0@10:0:0 |0@11:0:0 ");
  EXPECT_EQ(played("0@0:0:0 0@23:59:59"), "0@0:0:0 |0@23:59:59 ");
}

TEST(Playback, repeatsAHeaderOnlyBetweenShownRecords) {
  EXPECT_EQ(played("H1 H2 H1 H2"), "H1 H2 H1 H2 ") << "before any record";
  EXPECT_EQ(played("H1 H2 0@9:0:0 H1 H2 0@10:0:0 H1 H2 0@12:0:0 H1 H2", kTenToEleven),
            "H1 H2 0@10:0:0 H1 H2 ");
  EXPECT_EQ(played("H1 H2 0@1:0:0 H1 H2 H1 H2 0@1:0:1"), "H1 H2 0@1:0:0 H1 H2 |0@1:0:1 ")
      << "a start without a record";
  EXPECT_EQ(played("H1 H2 0@1:0:0 1@1:0:0 H1 H2 0@1:0:1 H1 H2 1@1:0:1", kWholeDay, {1}),
            "H1 H2 1@1:0:0 H1 H2 |1@1:0:1 ")
      << "a pair behind records of other GPUs";
  EXPECT_EQ(played("0@10:0:0 0@12:0:0 H1 H2 0@10:0:1 H1 H2", kTenToEleven),
            "0@10:0:0 |0@10:0:1 H1 H2 ")
      << "the last record read counts, not the last shown";
  EXPECT_EQ(played("0@1:0:0 H1 0@1:0:1 H1 H2 H2"), "0@1:0:0 H1 |0@1:0:1 H1 H2 ") << "lone lines";
}

TEST(Playback, endsAtTheFirstLineThatBelongsToNoLog) {
  EXPECT_EQ(played("H1 H2 0@1:0:0 #Time 0@1:0:1"), "H1 H2 0@1:0:0 .");
  EXPECT_EQ(played("H1 0@24:0:0"), "H1 .");
  EXPECT_EQ(Playback(kWholeDay, {}).next(""), Playback::Answer::stop);
}

}  // namespace
}  // namespace zanctl
