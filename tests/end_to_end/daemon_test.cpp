// The daemon as it really runs: detached, with its lock and its files on a simulated machine.
#include "support/host.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <optional>
#include <random>
#include <sstream>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <regex.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zanctl {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::string_view kHeader =
    "#Time       gpu   pwr gtemp mtemp    sm   mem   enc   dec  mclk  pclk\n"
    "#HH:MM:SS   Idx     W     C     C     %     %     %     %   MHz   MHz\n";
constexpr const char* kRecord =
    " 09:00:00     0   250    65     -    85    47    12    40  1200  1446\n";

std::size_t sizeOf(const fs::path& path) {
  std::error_code error;
  const auto size = fs::file_size(path, error);
  return error ? 0 : size;
}

// Asks until it holds; a test that waits in vain fails.
bool eventually(const std::function<bool()>& holds) {
  const auto deadline = std::chrono::steady_clock::now() + 20s;
  while (!holds()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    usleep(500);
  }
  return true;
}

// The rule for the lines of a log, spelled once more and otherwise than the program does.
bool isRecord(const std::string& line) {
  static const regex_t form = [] {
    regex_t compiled{};
    regcomp(&compiled,
            "^ ([01][0-9]|2[0-3])(:[0-5][0-9]){2}   ( +[0-9]+)( +[0-9]+| +-)( +[0-9]+)"
            "( +[0-9]+| +-){5}( +[0-9]+){2}$",
            REG_EXTENDED | REG_NOSUB);
    return compiled;
  }();
  return line.size() == 69 && regexec(&form, line.c_str(), 0, nullptr, 0) == 0;
}

bool isValidLog(const std::string& text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (kHeader.find(line + "\n") % 70 != 0 && !isRecord(line)) return false;
  }
  return text.empty() || text.back() == '\n';
}

class DaemonTest : public testing::Test {
 protected:
  DaemonTest() {
    host.runScript("true");
    host.useClock(Clock::real);
  }
  ~DaemonTest() override { stop(); }

  [[nodiscard]] fs::path pidFile() const { return host.state() / "run/zanctl_daemon.pid"; }
  [[nodiscard]] fs::path logs() const { return host.state() / "log/zanctl"; }
  [[nodiscard]] fs::path log(const std::string& date = "2026-03-07") const {
    return logs() / ("dmon-" + date);
  }

  // The process that holds the lock, whatever the file says.
  [[nodiscard]] std::optional<pid_t> daemonPid() const {
    const int file = open(pidFile().c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0) return std::nullopt;
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    const bool asked = fcntl(file, F_GETLK, &lock) == 0;
    close(file);
    return asked && lock.l_type != F_UNLCK && lock.l_pid > 1 ? std::optional(lock.l_pid)
                                                             : std::nullopt;
  }
  // A daemon whose clock is virtual never rests, so its processor time is limited, in case that it
  // outlives the test.
  Outcome run(const std::string& arguments) {
    return host.runScript("ulimit -t 60; exec zanctl daemon " + arguments);
  }
  // Starts a daemon, which runs when its start has returned.
  void start(const std::string& arguments) {
    const Outcome run = this->run(arguments);
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    const auto pid = daemonPid();
    ASSERT_TRUE(pid) << run.out;
    EXPECT_EQ(content(pidFile()), std::to_string(*pid) + '\0');
  }
  void stop() {
    if (const auto pid = daemonPid()) kill(*pid, SIGKILL);
    EXPECT_TRUE(eventually([this] { return !daemonPid(); }));
  }
  // What the last run printed, also after its first process had ended.
  [[nodiscard]] std::string outputInTheEnd(std::size_t size) const {
    eventually([&] { return sizeOf(host.directory() / "out") >= size; });
    return content(host.directory() / "out");
  }
  Host host{"eight-gpu"};
};

TEST_F(DaemonTest, runsInTheBackgroundOnceAndUntilItIsTerminated) {
  start("-d 600 -i 0,3");
  ASSERT_TRUE(eventually([this] { return sizeOf(log()) >= 280; }));
  const auto pid = daemonPid();
  ASSERT_TRUE(pid);
  EXPECT_EQ(getsid(*pid), *pid);
  EXPECT_EQ(fs::read_symlink(fmt::format("/proc/{}/cwd", *pid)), "/");
  EXPECT_NE(content(fmt::format("/proc/{}/status", *pid)).find("Umask:\t0000"), std::string::npos);
  EXPECT_EQ(fs::status(log()).permissions(), fs::perms{0644});
  EXPECT_EQ(content(log()).substr(0, 140), kHeader);
  EXPECT_EQ(content(log()).substr(140, 7), " 12:00:");
  EXPECT_EQ(content(log()).substr(149, 7), "     0 ");
  EXPECT_EQ(content(log()).substr(219, 13), "     3     - ");

  const std::string message = fmt::format("Daemon already running with pid {}\n", *pid);
  EXPECT_EQ(run("-d 1").out, message);
  EXPECT_EQ(daemonPid(), pid);
  for (int round = 0; round < 10; ++round) {
    const Outcome end = run("-t");
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.out, "");
    EXPECT_FALSE(daemonPid()) << "it is gone when the command returns";
    start("-d 600 -i 0");
  }
  EXPECT_TRUE(isValidLog(content(log())));
}

TEST_F(DaemonTest, opensASessionOfItsOwn) {
  start("-d 600");
  ASSERT_TRUE(eventually([this] { return sizeOf(log()) >= 700; }));
  stop();
  // For the reset guard, for the options, and for the daemon.
  EXPECT_EQ(host.callCounts()["nvmlInit"], 3);
  EXPECT_EQ(host.callCounts()["nvmlShutdown"], 2);
}

// Where time passes only by sleeping the daemon samples without rest.
class RestlessDaemonTest : public DaemonTest {
 protected:
  RestlessDaemonTest() { host.useClock(Clock::standing); }
};

// With the lock held by another process the content of the pid file is ours to choose.
class HeldLockTest : public DaemonTest {
 protected:
  HeldLockTest() : file_(open(pidFile().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {}
  ~HeldLockTest() override {
    for (const pid_t holder : holders_) {
      kill(holder, SIGKILL);
      waitpid(holder, nullptr, 0);
    }
    close(file_);
  }

  // Starts a process that holds a lock of this type, or none.
  pid_t startHolder(short type) {
    const pid_t holder = fork();
    if (holder == 0) {
      struct flock lock {};
      lock.l_type = type;
      fcntl(file_, F_SETLK, &lock);
      kill(getpid(), SIGSTOP);
      _exit(0);
    }
    holders_.push_back(holder);
    waitpid(holder, nullptr, WUNTRACED);
    return holder;
  }
  bool survivesATermination(pid_t process, const std::string& text) {
    hold(text);
    EXPECT_EQ(run("-t").out, "") << text;
    return waitpid(process, nullptr, WNOHANG) == 0;
  }
  void hold(const std::string& text) const {
    EXPECT_EQ(ftruncate(file_, 0), 0);
    EXPECT_EQ(pwrite(file_, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  }

 private:
  int file_;
  std::vector<pid_t> holders_;
};

TEST_F(HeldLockTest, printsTheTextOfThePidFile) {
  using namespace std::string_literals;
  startHolder(F_WRLCK);
  const std::map<std::string, std::string> messages{
      {"", ""},
      {"4711\0"s, "Daemon already running with pid 4711\n"},
      {"a text of more than sixteen characters",
       "Daemon already running with pid a text of more t\n"}};
  for (const auto& [text, message] : messages) {
    hold(text);
    EXPECT_EQ(run("").out, message) << text;
    EXPECT_EQ(content(pidFile()), text);
  }
}

TEST_F(HeldLockTest, signalsTheDaemonThatIsNamedWholeAndNothingElse) {
  const pid_t daemon = startHolder(F_WRLCK);
  const pid_t other = startHolder(F_UNLCK);
  const std::string pid = std::to_string(daemon);
  EXPECT_TRUE(survivesATermination(daemon, pid + "x"));
  EXPECT_TRUE(survivesATermination(daemon, "-" + pid));
  EXPECT_TRUE(survivesATermination(other, std::to_string(other)));
  survivesATermination(daemon, pid + '\0');
  EXPECT_FALSE(daemonPid());
}

TEST_F(HeldLockTest, takesAReaderForNobodysDaemon) {
  const pid_t reader = startHolder(F_RDLCK);
  EXPECT_TRUE(survivesATermination(reader, std::to_string(reader)));
  start("-d 600");
  EXPECT_EQ(fs::status(pidFile()).permissions(), fs::perms{0644});
  EXPECT_EQ(std::distance(fs::directory_iterator(pidFile().parent_path()), {}), 1);
}

TEST_F(DaemonTest, settlesTheDirectoryAsThePlatformResolvesIt) {
  const fs::path& base = host.directory();
  fs::create_directories(base / "logs");
  start("-d 600 -j rackA -p " + (base / "./logs/../logs/").string());
  EXPECT_TRUE(eventually([&] { return sizeOf(base / "logs/dmon-2026-03-07-rackA") > 140; }));
  stop();
  start("-d 5x -p " + (base / "new/deeper").string());
  EXPECT_TRUE(eventually([&] { return sizeOf(base / "new/dmon-2026-03-07") > 140; }))
      << "the part of the path up to the first missing name";
  stop();
}

TEST_F(RestlessDaemonTest, endsWhenItsFileVanishes) {
  start("-d 1");
  ASSERT_TRUE(eventually([this] { return sizeOf(log()) > 140; }));
  fs::rename(log(), host.directory() / "moved");
  // Under the virtual clock the next day is there at once: the name is that of the day.
  const std::string message = "Failed to write the log file /var/log/zanctl/dmon-2026-03-07\n";
  EXPECT_EQ(outputInTheEnd(message.size()), message);
  EXPECT_TRUE(eventually([this] { return !daemonPid(); }));
  EXPECT_TRUE(isValidLog(content(host.directory() / "moved")));
}

TEST_F(RestlessDaemonTest, gathersADayInOneFileThroughKillsAtRandomMoments) {
  std::random_device random;
  std::size_t size = 0;
  for (int round = 0; round < 20; ++round) {
    start("-d 1");
    usleep(static_cast<useconds_t>(random() % 8000));
    stop();
    ASSERT_TRUE(eventually([this] { return sizeOf(log()) % 70 == 0; })) << "a line was cut";
    // An invalid file would be started afresh, so one that only grows was valid every time.
    ASSERT_GE(sizeOf(log()), size);
    size = sizeOf(log());
  }
  for (const fs::directory_entry& file : fs::directory_iterator(logs())) {
    EXPECT_TRUE(isValidLog(content(file.path()))) << file.path();
  }
  EXPECT_GT(size, 2'000U);
}

TEST_F(DaemonTest, appendsToAValidFileAndSetsAnyOtherAside) {
  const auto contentAfterAStart = [this](const std::string& before) {
    std::ofstream(log()) << before;
    start("-d 600 -i 0");
    eventually([&] {
      const std::string now = content(log());
      return now != before && now.size() % 70 == 0 && now.size() >= 210;
    });
    stop();
    return content(log());
  };
  fs::create_directories(logs());
  const std::string header(kHeader);
  const std::string valid = header + kRecord;
  EXPECT_EQ(contentAfterAStart(valid).substr(0, valid.size() + kHeader.size()), valid + header);
  EXPECT_EQ(contentAfterAStart(valid.substr(0, valid.size() - 1)).substr(0, valid.size() + 140),
            valid + header)
      << "the last line gets the newline that it lacks";
  EXPECT_EQ(contentAfterAStart(valid + "\n").substr(0, 147), header + " 12:00:");
  EXPECT_EQ(content(log().string() + ".invalid"), valid + "\n");
}

TEST_F(RestlessDaemonTest, writesAFilePerDay) {
  start("-d 600 -i 1");
  ASSERT_TRUE(eventually([this] { return fs::exists(log("2026-03-10")); }));
  stop();
  const auto count = [](std::string_view text, std::string_view part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
    return found;
  };
  const std::string first = content(log());
  EXPECT_EQ(count(first, " 12:00:00 "), 1U);
  EXPECT_EQ(count(first, kHeader), 2U) << "72 cycles";
  EXPECT_EQ(first.size(), (72 + 2 * 2) * 70U);
  for (const char* date : {"2026-03-08", "2026-03-09"}) {
    const std::string day = content(log(date));
    EXPECT_EQ(day.substr(0, 156), std::string(kHeader) + " 00:00:00     1 ") << date;
    EXPECT_EQ(count(day, kHeader), 4U) << "144 cycles";
    EXPECT_EQ(day.size(), (144 + 4 * 2) * 70U);
    EXPECT_TRUE(isValidLog(day));
  }
}

}  // namespace
}  // namespace zanctl
