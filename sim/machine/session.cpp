#include "machine/session.h"

#include "description/host_reader.h"
#include "description/settings.h"

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <utility>

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace zansim {

namespace {

// How long a look at the files holds: short for a person who has just saved one, long for a
// program that makes a million calls.
constexpr Time kLookInterval = 20 * kSecond / 1000;

// A handle is no address but a pattern that names its session and GPU, so that a foreign one can be
// told from it without being followed.
constexpr std::uintptr_t kHandlePattern = 0x5a47;
constexpr unsigned kPatternShift = 48;
constexpr unsigned kGenerationShift = 16;
constexpr std::uintptr_t kIndexMask = 0xffff;
constexpr std::uintptr_t kGenerationMask = 0xffffffff;

Time nanoseconds(const timespec& time) { return time.tv_sec * kSecond + time.tv_nsec; }

Time clockNow(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return nanoseconds(now);
}

void sleepFor(Time duration) {
  timespec rest = {.tv_sec = duration / kSecond, .tv_nsec = duration % kSecond};
  // A device does not answer sooner because the caller got a signal.
  while (nanosleep(&rest, &rest) != 0) {
  }
}

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// One write, so that lines of several processes do not mingle.
void complain(const std::string& message) {
  const std::string line = "zansim: " + message + "\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace

Time wallNow() { return clockNow(CLOCK_REALTIME); }

Session::Session(Paths paths) : paths_(std::move(paths)) {}

std::unique_ptr<Session>& Session::slot() {
  // Never destroyed: programs call the library from their own destructors at exit.
  static auto& session = *new std::unique_ptr<Session>();
  return session;
}

Session& Session::ofProcess() {
  if (slot() == nullptr) restartOfProcess();
  return *slot();
}

void Session::restartOfProcess() {
  const std::string state = environment(kStateVariable);
  slot() = std::make_unique<Session>(
      Paths{.host = environment(kHostVariable),
            .state = state,
            .processes = environment(kProcessesVariable),
            .settings = state.empty() ? "" : state + "/" + kSettingsFileName,
            .trace = environment(kTraceVariable)});
}

Session::FileMark Session::markOf(const std::string& path) {
  struct stat status = {};
  if (path.empty() || stat(path.c_str(), &status) != 0) return {};
  return {.device = status.st_dev,
          .inode = status.st_ino,
          .size = status.st_size,
          .modified = nanoseconds(status.st_mtim)};
}

bool Session::load() {
  if (paths_.host.empty()) {
    complain(std::string(kHostVariable) + " is not set: run the program through zansim");
    return false;
  }
  HostReading reading = readHostFile(paths_.host);
  if (!reading.host) {
    complain(reading.problems.front());
    return false;
  }
  std::ifstream settings(paths_.settings);
  for (std::string line; std::getline(settings, line);) applySetting(line, *reading.host);
  machine_ =
      std::make_unique<const Machine>(std::move(*reading.host), readProcessTable(paths_.processes));
  return true;
}

void Session::refresh(bool force) {
  // The coarse monotonic clock is the real one even when the machine's clock is virtual.
  const Time now = clockNow(CLOCK_MONOTONIC_COARSE);
  if (!force && now - lookedAt_ < kLookInterval) return;
  lookedAt_ = now;
  const FileMark host = markOf(paths_.host);
  const FileMark processes = markOf(paths_.processes);
  const FileMark settings = markOf(paths_.settings);
  const bool changed =
      host != hostMark_ || processes != processesMark_ || settings != settingsMark_;
  if (!changed && machine_ != nullptr) return;
  // Marked before it is read: a file that changes meanwhile is read again.
  hostMark_ = host;
  processesMark_ = processes;
  settingsMark_ = settings;
  load();
}

nvmlReturn_t Session::initialise() {
  refresh(true);
  if (machine_ == nullptr) return NVML_ERROR_DRIVER_NOT_LOADED;
  if (state_ == nullptr) {
    try {
      state_ = paths_.state.empty() ? std::make_unique<SharedState>(wallNow())
                                    : std::make_unique<SharedState>(paths_.state);
    } catch (const std::exception& error) {
      complain(error.what());
      return NVML_ERROR_DRIVER_NOT_LOADED;
    }
  }
  const nvmlReturn_t code = befall(Operation::nvmlInit, kNoGpu).code;
  if (code != NVML_SUCCESS) return code;
  if (opened_++ == 0) ++generation_;
  return NVML_SUCCESS;
}

nvmlReturn_t Session::shutDown() {
  if (!isOpen()) return NVML_ERROR_UNINITIALIZED;
  const nvmlReturn_t code = befall(Operation::nvmlShutdown, kNoGpu).code;
  if (code == NVML_SUCCESS) --opened_;
  return code;
}

nvmlDevice_t Session::handleOf(unsigned gpu) const {
  const std::uintptr_t handle = kHandlePattern << kPatternShift |
                                static_cast<std::uintptr_t>(generation_) << kGenerationShift | gpu;
  return std::bit_cast<nvmlDevice_t>(handle);
}

std::optional<unsigned> Session::gpuOf(nvmlDevice_t device) const {
  const auto handle = std::bit_cast<std::uintptr_t>(device);
  const bool ours = handle >> kPatternShift == kHandlePattern &&
                    (handle >> kGenerationShift & kGenerationMask) == generation_ && isOpen();
  const auto gpu = static_cast<unsigned>(handle & kIndexMask);
  if (!ours || gpu >= kMaxGpus) return std::nullopt;
  return gpu;
}

FaultOutcome Session::befall(Operation operation, unsigned gpu) {
  const std::uint64_t call = calls_.next(operation, gpu);
  const FaultPlan& faults = machine_->faults();
  if (!faults.concerns(operation)) return {};
  const Time age = wallNow() - (*state_)->origin;
  const FaultOutcome outcome = faults.outcome(operation, gpu, call, age);
  if (outcome.latency > 0) sleepFor(outcome.latency);
  return outcome;
}

}  // namespace zansim
