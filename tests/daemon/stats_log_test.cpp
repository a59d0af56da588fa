#include "daemon/stats_log.h"

#include "request/option_values.h"
#include "stats_log/line_reader.h"
#include "stats_log/stats_format.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zanctl {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRecord =
    " 10:00:00     0   250    65     -    85    47    12    40  1200  1446";

TEST(StatsLine, hasFixedColumnsAndDashesForWhatIsUnavailable) {
  const MonitorReading reading{250, 65, 85, 47, 12, 40, 1446, 1200, {}, {}};
  EXPECT_EQ(statsLine("10:00:00", 0, reading), std::string(kRecord) + "\n");
  EXPECT_EQ(std::string_view(kRecord).size(), kStatsHeader1.size());
  EXPECT_EQ(kStatsHeader1.size(), 69U);
  EXPECT_EQ(kStatsHeader2.size(), 69U);

  MonitorReading extreme{};
  extreme.power = extreme.temperature = kUnavailable;
  extreme.smClock = 4294967295;
  EXPECT_EQ(statsLine("23:59:59", 1000, extreme),
            " 23:59:59   1000     -     -     -     0     0     0     0     04294967295\n");
  extreme.power = 4294967294;
  EXPECT_EQ(statsLine("23:59:59", 63, extreme).substr(15, 6), "    -2");
}

TEST(StatsFileName, doublesNoSlashAndAppendsTheSuffix) {
  EXPECT_EQ(statsFileName("/var/log/zanctl", "", "2024-03-07"), "/var/log/zanctl/dmon-2024-03-07");
  EXPECT_EQ(statsFileName("/logs/", "rackA", "2024-03-07"), "/logs/dmon-2024-03-07-rackA");
}

TEST(StatsLine, isReadForItsTimeAndGpu) {
  const auto record = parseStatsLine(" 10:02:03    12     -    65     -    85    47 - -  1200 0");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->time, 36'123U);
  EXPECT_EQ(record->gpu, 12U);
  EXPECT_EQ(parseStatsLine("0:0:0 99999999999 1 1 1 1 1 1 1 1 1")->gpu, 4294967295U);
}

TEST(StatsLine, isValidOnlyInEveryColumn) {
  const std::string valid[] = {"10:00:00", "0", "-", "65", "-", "-", "-", "-", "-", "1", "2"};
  const auto line = [&valid](std::size_t column, const std::string& token) {
    std::string text;
    for (std::size_t i = 0; i < std::size(valid); ++i) {
      text += " " + (i == column ? token : valid[i]);
    }
    return text;
  };
  EXPECT_TRUE(parseStatsLine(line(0, "23:59:59")));
  for (std::size_t column = 0; column < std::size(valid); ++column) {
    const bool mayBeDash = column == 2 || (column >= 4 && column <= 8);
    EXPECT_EQ(parseStatsLine(line(column, "-")).has_value(), mayBeDash) << column;
    EXPECT_EQ(parseStatsLine(line(column, "7")).has_value(), column != 0) << column;
    for (const char* token : {"", "-1", "+1", "1.5", "0x1", "--", "\t1", "1\r", "٣", "1:1:1x"}) {
      EXPECT_FALSE(parseStatsLine(line(column, token))) << column << " " << token;
    }
    EXPECT_FALSE(parseStatsLine(line(column, std::string(1, '\0')))) << column;
    EXPECT_FALSE(parseStatsLine(line(column, "1 1"))) << column;
  }
  EXPECT_FALSE(parseStatsLine(std::string(kRecord) + " 0"));
  EXPECT_FALSE(parseStatsLine(""));
  EXPECT_FALSE(parseStatsLine("   "));
}

TEST(TimeOfDay, takesThreeNumbersInTheirRanges) {
  for (const char* text : {"00:00:00", "23:59:59", "1:2:3", "000000000000000000000000001:00:00"}) {
    EXPECT_TRUE(parseTimeOfDay(text)) << text;
  }
  for (const std::string_view text : splitAtCommas(
           ",:,::,10,10:00,10:00:,:10:00:00,10::00,10:00:00:00,24:00:00,10:60:00,10:00:60,"
           "-1:00:00, 1:00:00,1:00:00 ,4294967296:00:00,18446744073709551616:00:00,0x1:00:00,"
           "1:00:00.5,10:00:00\n")) {
    EXPECT_FALSE(parseTimeOfDay(text)) << text;
  }
  EXPECT_EQ(parseTimeOfDay("23:59:59"), 86'399U);
}

class StatsLogTest : public testing::Test {
 protected:
  StatsLogTest()
      : directory(testing::TempDir() + "stats_log_" + std::to_string(getpid())),
        name(directory + "/dmon-2026-03-07"),
        log(directory, "") {
    fs::create_directory(directory);
  }
  ~StatsLogTest() override { fs::remove_all(directory); }

  [[nodiscard]] std::string content(const std::string& ending = "") const {
    std::ifstream file(name + ending);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void hold(const std::string& text) const { std::ofstream(name) << text; }
  FileOpening openLog(StatsLog::Existing existing = StatsLog::Existing::appendIfValid) {
    return log.open("2026-03-07", existing);
  }
  // Whether a file with this content is kept when it is opened.
  bool isKept(const std::string& text) {
    hold(text);
    EXPECT_EQ(openLog(), FileOpening::opened);
    return content() == text;
  }

  std::string directory;
  std::string name;
  StatsLog log;
};

TEST_F(StatsLogTest, keepsValidFilesAndSetsOthersAside) {
  const std::string header = std::string(kStatsHeader1) + "\n" + std::string(kStatsHeader2) + "\n";
  const std::string record = std::string(kRecord) + "\n";
  const std::string padding(LineReader::kLongestLine - std::string_view(kRecord).size(), ' ');
  std::string large;
  while (large.size() < 300'000) large += record;
  EXPECT_TRUE(isKept(""));
  EXPECT_TRUE(isKept(header + record + header + header + record));
  EXPECT_TRUE(isKept(header + kRecord)) << "no newline at the end";
  EXPECT_TRUE(isKept(padding + record)) << "255 characters";
  EXPECT_TRUE(isKept(large)) << "lines across the blocks that are read";
  EXPECT_TRUE(isKept(large + kRecord));

  std::ofstream(name + ".invalid.2") << "an older one";
  EXPECT_FALSE(isKept(" " + padding + record)) << "256 characters";
  EXPECT_EQ(content(), "");
  EXPECT_EQ(content(".invalid"), " " + padding + record);
  EXPECT_FALSE(isKept(" " + padding + kRecord));
  EXPECT_EQ(content(".invalid.2"), "an older one");
  EXPECT_EQ(content(".invalid.3"), " " + padding + kRecord);
  EXPECT_FALSE(isKept(record + "\n"));
  EXPECT_FALSE(isKept(header + kRecord + "\r\n"));
  EXPECT_FALSE(isKept(std::string(kStatsHeader1) + " \n"));
  EXPECT_FALSE(isKept(record + std::string(1, '\0') + record));
  EXPECT_FALSE(isKept(std::string(100'000, '\0')));
  EXPECT_FALSE(isKept(std::string(100'000, ' ')));
  EXPECT_FALSE(isKept(large + " 10:00:00     0   250"));
}

TEST_F(StatsLogTest, validatesNothingWhereItIsToAppend) {
  hold("no log\n");
  ASSERT_EQ(openLog(StatsLog::Existing::append), FileOpening::opened);
  ASSERT_TRUE(log.write("a line\n"));
  EXPECT_EQ(content(), "no log\na line\n");
}

TEST_F(StatsLogTest, beginsANewLineBehindOneWithoutNewline) {
  hold(kRecord);
  ASSERT_EQ(openLog(), FileOpening::opened);
  ASSERT_TRUE(log.write("1\n"));
  ASSERT_TRUE(log.write("2\n"));
  EXPECT_EQ(content(), std::string(kRecord) + "\n1\n2\n");
}

TEST_F(StatsLogTest, opensItsOwnRegularFilesAlone) {
  std::ofstream(directory + "/target") << "precious\n";
  const std::function<void()> obstacles[] = {
      [this] { fs::create_symlink(directory + "/target", name); },
      [this] { fs::create_symlink(directory + "/missing", name); },
      [this] { fs::create_hard_link(directory + "/target", name); },
      [this] { fs::create_directory(name); },
      [this] { mkfifo(name.c_str(), 0600); },
  };
  for (const auto& lay : obstacles) {
    lay();
    EXPECT_EQ(openLog(), FileOpening::refused) << &lay - obstacles;
    fs::remove(name);
  }
  EXPECT_EQ(fs::file_size(directory + "/target"), 9U);
  EXPECT_FALSE(fs::exists(directory + "/missing"));
  hold("");
  const bool isGivenAway = chown(name.c_str(), 1000, 1000) == 0;
  EXPECT_EQ(openLog(), isGivenAway ? FileOpening::refused : FileOpening::opened);
  EXPECT_EQ(StatsLog(directory, "a/b").open("2026-03-07", StatsLog::Existing::append),
            FileOpening::refused);
}

TEST_F(StatsLogTest, hasOneWriterWhomNoReaderHinders) {
  StatsLog other(directory, "");
  const auto openOther = [&other] {
    return other.open("2026-03-07", StatsLog::Existing::appendIfValid);
  };
  ASSERT_EQ(openLog(), FileOpening::opened);
  EXPECT_EQ(openOther(), FileOpening::inUse);
  hold("no log\n");
  EXPECT_EQ(openOther(), FileOpening::inUse) << "nor is the file set aside";
  hold("");

  log = StatsLog(directory, "");
  const Descriptor reader(open(name.c_str(), O_RDONLY));
  struct flock lock {};
  lock.l_type = F_RDLCK;
  ASSERT_EQ(fcntl(reader.number(), F_OFD_SETLK, &lock), 0);
  ASSERT_EQ(openLog(), FileOpening::opened);
  ASSERT_EQ(openOther(), FileOpening::opened);
  lock.l_type = F_UNLCK;
  ASSERT_EQ(fcntl(reader.number(), F_OFD_SETLK, &lock), 0);
  EXPECT_TRUE(other.write("1\n"));
  EXPECT_FALSE(log.write("2\n"));
  EXPECT_EQ(content(), "1\n");
}

TEST_F(StatsLogTest, isNotDisturbedByLinesOfSomebodyElse) {
  constexpr int kLines = 2000;
  ASSERT_EQ(openLog(), FileOpening::opened);
  const pid_t other = fork();
  if (other == 0) {
    const Descriptor file(open(name.c_str(), O_WRONLY | O_APPEND));
    for (int i = 0; i < kLines; ++i) {
      if (write(file.number(), "2\n", 2) != 2) _exit(1);
    }
    _exit(0);
  }
  for (int i = 0; i < kLines; ++i) ASSERT_TRUE(log.write("1\n"));
  int status = 1;
  waitpid(other, &status, 0);
  EXPECT_EQ(status, 0);
  const std::string text = content();
  EXPECT_EQ(std::count(text.begin(), text.end(), '1'), kLines);
  EXPECT_EQ(std::count(text.begin(), text.end(), '2'), kLines);
}

TEST_F(StatsLogTest, leavesNoPartOfALineOnAFullDisk) {
  ASSERT_EQ(openLog(), FileOpening::opened);
  ASSERT_TRUE(log.write("whole\n"));
  const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit full{10, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &full);
  const bool partWritten = log.write("partial\n");
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, previousHandler);
  EXPECT_FALSE(partWritten);
  EXPECT_EQ(content(), "whole\n");
}

}  // namespace
}  // namespace zanctl
