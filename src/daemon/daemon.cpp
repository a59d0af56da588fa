#include "daemon/daemon.h"

#include "daemon/device_list.h"
#include "daemon/instance.h"
#include "daemon/sampling.h"
#include "device/time.h"

#include <fmt/format.h>

#include <array>
#include <cstdlib>
#include <ostream>

#include <sys/stat.h>
#include <unistd.h>

namespace zanctl {
namespace {

constexpr const char* kLogDirectory = "/var/log/zanctl";
constexpr mode_t kDirectoryMode = 0755;
constexpr std::uint64_t kDefaultDelay = 10;
constexpr std::uint64_t kLongestDelay = 600;

// Of a path that does not exist yet, realpath leaves the part up to the first missing name.
std::string logDirectory(const std::string& option) {
  if (!given(option)) return kLogDirectory;
  std::array<char, 4096> resolved{};
  [[maybe_unused]] const char* const ignored = realpath(option.c_str(), resolved.data());
  return resolved.data();
}

bool makeDirectory(const std::string& directory, std::ostream& out) {
  const auto stands = [&directory] { return access(directory.c_str(), F_OK) == 0; };
  // Another daemon that is starting may make it meanwhile.
  if (stands() || mkdir(directory.c_str(), kDirectoryMode) == 0 || stands()) return true;
  out << fmt::format("create path \"{}\" failed\n", directory);
  return false;
}

const char* complaint(CycleEnd end) {
  switch (end) {
    case CycleEnd::notCreated:
      return "Failed to create";
    case CycleEnd::inUse:
      return "Another daemon writes";
    default:
      return "Failed to write";
  }
}

int sampleForever(const DaemonPlan& plan, std::ostream& out) {
  Sampling sampling(StatsLog(plan.directory, plan.suffix), plan.selection);
  for (;;) {
    const CycleEnd end = sampling.runCycle(currentTime().tv_sec);
    if (end != CycleEnd::written) {
      out << complaint(end) << " the log file " << sampling.log().fileName() << "\n";
      return -1;
    }
    sleep(plan.delaySeconds);
  }
}

}  // namespace

std::optional<DaemonPlan> planDaemon(const DaemonOptions& options, std::ostream& out) {
  if (geteuid() != 0) {
    out << "Please run this as root\n";
    return std::nullopt;
  }
  DaemonPlan plan{};
  if (resolveDevicesOrAll(options.id, plan.selection, out) != 0) return std::nullopt;
  plan.directory = logDirectory(options.path);
  if (!makeDirectory(plan.directory, out)) return std::nullopt;
  const auto delay = readDelay(options.delay, kDefaultDelay, kLongestDelay, out);
  if (!delay) return std::nullopt;
  plan.delaySeconds = static_cast<unsigned int>(*delay);
  if (given(options.join)) plan.suffix = options.join;
  plan.terminate = options.term;
  return plan;
}

int runDaemon(const DaemonOptions& options, std::ostream& out) {
  const auto plan = planDaemon(options, out);
  if (!plan) return -1;
  if (plan->terminate) endDaemon();
  const PidFile pidFile = becomeDaemon();
  return sampleForever(*plan, out);
}

}  // namespace zanctl
