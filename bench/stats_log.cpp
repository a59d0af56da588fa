// The stats log's figures: a sampling cycle of 8 GPUs over a library that answers constants, and
// the validation and the playback of the log of a whole day with a cycle every second.
//
//   bench_stats_log DIRECTORY
//
// The directory is left with the day's log, "dmon-2026-03-07", for whoever wants to compare.
#include "bench/usage.h"
#include "daemon/playback.h"
#include "daemon/sampling.h"
#include "device/session.h"
#include "stats_log/line_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace zanctl;

constexpr std::uint32_t kGpus = 8;
constexpr std::time_t kMidnight = 1772841600;  // 7 March 2026, UTC
constexpr int kDay = 24 * 60 * 60;

double cpuSeconds() { return processorSeconds(ownUsage()); }

void runCycles(Sampling& sampling, int first, int end) {
  for (int second = first; second < end; ++second) {
    if (sampling.runCycle(kMidnight + second) == CycleEnd::written) continue;
    fmt::print(stderr, "{}: cannot be written\n", sampling.log().fileName());
    std::exit(1);
  }
}

// Megabytes per second of processor time; the best of several rounds.
double validationSpeed(const Descriptor& log) {
  double best = 0;
  for (int round = 0; round < 10; ++round) {
    const auto size = static_cast<double>(lseek(log.number(), 0, SEEK_END));
    lseek(log.number(), 0, SEEK_SET);
    const double start = cpuSeconds();
    if (validateStats(log.number()) != StatsValidity::valid) std::exit(1);
    best = std::max(best, size / 1e6 / (cpuSeconds() - start));
  }
  return best;
}

std::size_t playedLines(const Descriptor& log) {
  lseek(log.number(), 0, SEEK_SET);
  Playback playback({}, {});
  LineReader reader(log.number());
  std::size_t count = 0;
  for (std::string_view line; reader.next(line) == LineRead::line; ++count) {
    if (playback.next(line) == Playback::Answer::stop) break;
  }
  return count;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fmt::print(stderr, "usage: bench_stats_log DIRECTORY\n");
    return 2;
  }
  setenv("TZ", "UTC0", 1);
  setenv("CONSTANT_GPUS", fmt::to_string(kGpus).c_str(), 1);
  openSession(kGpus);
  Sampling sampling(StatsLog(argv[1], ""), {});
  runCycles(sampling, 0, 100);
  const long before = ownUsage().ru_maxrss;
  runCycles(sampling, 100, 10'100);
  fmt::print("10,000 cycles: memory grew by {} KB\n", ownUsage().ru_maxrss - before);
  const double start = cpuSeconds();
  runCycles(sampling, 10'100, kDay);
  fmt::print("cycle, {} GPUs: {:.4f} ms user+system\n", kGpus,
             (cpuSeconds() - start) * 1e3 / (kDay - 10'100));

  const Descriptor log(open(sampling.log().fileName().c_str(), O_RDONLY | O_CLOEXEC));
  const long beforeReading = ownUsage().ru_maxrss;
  fmt::print("validation: {:.0f} MB/s\n", validationSpeed(log));
  fmt::print("playback: {} lines\n", playedLines(log));
  fmt::print("reading {} MB: memory grew by {} KB\n", lseek(log.number(), 0, SEEK_END) / 1'000'000,
             ownUsage().ru_maxrss - beforeReading);
}
