// Runs a command several times and prints what its process costs:
//
//   bench_measure RUNS LABEL COMMAND [ARGUMENT...]
//
// The least user and system time, the least wall time and the most memory of all runs. Standard
// output of the command is thrown away.
#include "bench/usage.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Cost {
  double cpuMs;
  double wallMs;
  double memoryMb;
};

Cost measure(char** command) {
  const auto start = std::chrono::steady_clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    execvp(command[0], command);
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  wait4(pid, &status, 0, &usage);
  const std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - start;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    fmt::print(stderr, "{}: failed\n", command[0]);
    std::exit(1);
  }
  return {zanctl::processorSeconds(usage) * 1e3, wall.count(),
          static_cast<double>(usage.ru_maxrss) / 1024};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    fmt::print(stderr, "usage: bench_measure RUNS LABEL COMMAND [ARGUMENT...]\n");
    return 2;
  }
  constexpr double kHuge = std::numeric_limits<double>::max();
  Cost least{kHuge, kHuge, 0};
  for (long run = std::strtol(argv[1], nullptr, 10); run > 0; --run) {
    const Cost cost = measure(argv + 3);
    least = {std::min(least.cpuMs, cost.cpuMs), std::min(least.wallMs, cost.wallMs),
             std::max(least.memoryMb, cost.memoryMb)};
  }
  fmt::print("{:<44}{:>8.2f} ms user+system{:>8.2f} ms wall{:>7.1f} MB\n", argv[2], least.cpuMs,
             least.wallMs, least.memoryMb);
}
