#include "daemon/sampling.h"

#include "daemon/pid_file.h"
#include "stats_log/stats_format.h"
#include "support/fake_library.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include <unistd.h>

namespace zanctl {
namespace {

namespace fs = std::filesystem;

constexpr std::time_t kNoon = 1772884800;  // of 7 March 2026, UTC
constexpr std::time_t kDay = 86'400;

class SamplingTest : public FakeLibrary {
 protected:
  SamplingTest() : directory(testing::TempDir() + "sampling_" + std::to_string(getpid())) {
    setenv("TZ", "UTC0", 1);
    tzset();
    fs::create_directory(directory);
    holdDevices(2);
    library().nvmlDeviceGetTemperature.bind(
        [](nvmlDevice_t device, nvmlTemperatureSensors_t, unsigned int* temperature) {
          *temperature = 60 + gpuOf(device);
          return NVML_SUCCESS;
        });
  }
  ~SamplingTest() override { fs::remove_all(directory); }

  [[nodiscard]] Sampling sampling(DeviceSet selection = {}) const {
    return Sampling(StatsLog(directory, ""), std::move(selection));
  }
  [[nodiscard]] std::string content(const std::string& date) const {
    std::ifstream file(directory + "/dmon-" + date);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static std::string record(const std::string& time, int gpu) {
    return " " + time + "     " + std::to_string(gpu) + "     -    6" + std::to_string(gpu) +
           "     -     0     0     0     0     0     0\n";
  }

  const std::string header = std::string(kStatsHeader1) + "\n" + std::string(kStatsHeader2) + "\n";
  std::string directory;
};

TEST_F(SamplingTest, writesTheHeaderInEveryFortiethCycle) {
  Sampling daemon = sampling();
  std::string expected;
  for (int cycle = 0; cycle < 81; ++cycle) {
    if (cycle % 40 == 0) expected += header;
    expected += record("12:00:00", 0) + record("12:00:00", 1);
    ASSERT_EQ(daemon.runCycle(kNoon), CycleEnd::written);
  }
  EXPECT_EQ(content("2026-03-07"), expected);
}

TEST_F(SamplingTest, changesTheFileWithTheDateAlsoWhenTheClockIsSetBack) {
  std::ofstream(directory + "/dmon-2026-03-08") << "somebody's\n";
  Sampling daemon = sampling({0});
  const std::time_t midnight = kNoon + kDay / 2;
  for (const std::time_t now : {midnight - 1, midnight, midnight - 3600, midnight + 1}) {
    ASSERT_EQ(daemon.runCycle(now), CycleEnd::written);
  }
  EXPECT_EQ(content("2026-03-07"), header + record("23:59:59", 0) + header + record("23:00:00", 0));
  EXPECT_EQ(content("2026-03-08"),
            "somebody's\n" + header + record("00:00:00", 0) + header + record("00:00:01", 0));
}

TEST_F(SamplingTest, writesNoSecondOf60) {
  ASSERT_TRUE(fs::exists("/usr/share/zoneinfo/right/UTC")) << "the package tzdata is needed";
  setenv("TZ", "right/UTC", 1);
  tzset();
  Sampling daemon = sampling({0});
  constexpr std::time_t kLeapSecond = 1483228826;  // 31 December 2016, 23:59:60
  for (std::time_t now = kLeapSecond - 1; now <= kLeapSecond + 1; ++now) {
    ASSERT_EQ(daemon.runCycle(now), CycleEnd::written);
  }
  EXPECT_EQ(content("2016-12-31"), header + record("23:59:59", 0) + record("23:59:59", 0));
  EXPECT_EQ(content("2017-01-01"), header + record("00:00:00", 0));
}

TEST_F(SamplingTest, asksForABoardsPowerOnceInEveryCycle) {
  static int asked;
  asked = 0;
  library().nvmlDeviceGetBoardId.bind([](nvmlDevice_t, unsigned int* id) {
    *id = 7;
    return NVML_SUCCESS;
  });
  library().zanmlDeviceGetBoardPosition.bind([](nvmlDevice_t device, unsigned int* position) {
    *position = gpuOf(device);
    return NVML_SUCCESS;
  });
  library().zanmlDeviceGetBoardPowerUsage.bind([](nvmlDevice_t, unsigned int* power) {
    *power = static_cast<unsigned int>(300 + ++asked);
    return NVML_SUCCESS;
  });
  Sampling daemon = sampling();
  ASSERT_EQ(daemon.runCycle(kNoon), CycleEnd::written);
  ASSERT_EQ(daemon.runCycle(kNoon), CycleEnd::written);
  EXPECT_EQ(asked, 2);
  EXPECT_NE(content("2026-03-07").find("     0   302    60"), std::string::npos);
}

// A driver that can be unloaded and loaded again, which sessions from before do not survive.
struct Driver {
  bool loaded = false;
  unsigned int gpus = 2;
  std::set<unsigned int> lost;
  bool sessionLives = false;
  int sessions = 0;
};
Driver driver;

TEST_F(SamplingTest, goesOnInAFreshSessionWhereNoGpuTellsAnything) {
  session() = DeviceSession{};
  driver = {};
  library().nvmlInit.bind([] {
    if (!driver.loaded) return NVML_ERROR_DRIVER_NOT_LOADED;
    driver.sessionLives = true;
    ++driver.sessions;
    return NVML_SUCCESS;
  });
  library().nvmlShutdown.bind([] { return NVML_ERROR_UNINITIALIZED; });
  library().nvmlDeviceGetCount_v2.bind([](unsigned int* count) {
    *count = driver.gpus;
    return NVML_SUCCESS;
  });
  library().nvmlDeviceGetHandleByIndex_v2.bind([](unsigned int index, nvmlDevice_t* device) {
    *device = handleOf(index);
    return NVML_SUCCESS;
  });
  library().nvmlDeviceGetTemperature.bind(
      [](nvmlDevice_t device, nvmlTemperatureSensors_t, unsigned int* temperature) {
        *temperature = 60 + gpuOf(device);
        const bool answers = driver.sessionLives && !driver.lost.contains(gpuOf(device));
        return answers ? NVML_SUCCESS : NVML_ERROR_GPU_IS_LOST;
      });
  Sampling daemon = sampling();
  std::string expected = header;
  const auto expectCycle = [&](const std::string& lines, int sessions) {
    ASSERT_EQ(daemon.runCycle(kNoon), CycleEnd::written);
    expected += lines;
    EXPECT_EQ(content("2026-03-07"), expected);
    EXPECT_EQ(driver.sessions, sessions);
  };
  const std::string both = record("12:00:00", 0) + record("12:00:00", 1);
  const auto withoutTemperature = [](std::string line) { return line.replace(21, 6, "     -"); };
  expectCycle("", 0);
  driver.loaded = true;
  driver.gpus = 0;
  expectCycle("", 1);
  driver.gpus = 2;
  expectCycle(both, 2);
  expectCycle(both, 2);
  driver.loaded = driver.sessionLives = false;
  expectCycle("", 2);
  driver.loaded = true;
  expectCycle(both, 3);
  driver.sessionLives = false;
  expectCycle(both, 4);
  driver.lost = {0};
  expectCycle(withoutTemperature(record("12:00:00", 0)) + record("12:00:00", 1), 4);
  driver.lost = {0, 1};
  expectCycle(withoutTemperature(record("12:00:00", 0)) + withoutTemperature(record("12:00:00", 1)),
              5);
}

TEST(PidFile, signalsOnlyAProcessThatTheContentNamesWhole) {
  using namespace std::string_literals;
  EXPECT_EQ(pidToSignal("4711\0"s), 4711);
  EXPECT_EQ(pidToSignal("4711\0junk"s), 4711);
  EXPECT_EQ(pidToSignal("4711\n"), 4711);
  for (const std::string& content :
       {""s, "\0"s, "\n"s, "0"s, "1"s, "-1"s, "-4711"s, "+4711"s, "47x"s, "x47"s, " 47"s, "4 7"s,
        "2147483648"s, "99999999999"s, "0000000000004711"s}) {
    EXPECT_FALSE(pidToSignal(content)) << content;
  }
  EXPECT_EQ(pidText("4711\0junk"s), "4711");
  EXPECT_EQ(pidText("4711"), "4711");
}

}  // namespace
}  // namespace zanctl
