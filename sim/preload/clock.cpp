// Stands in for the clocks and for sleeping.
//
// A run may shift the wall clock by a constant; or it may have a virtual clock, which stands still
// but for waiting: a sleep returns at once and moves it. The virtual clock stands in the state of
// the machine, so that all its processes read the same time.
#include "machine/state_layout.h"
#include "preload/interpose.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

enum class Mode { unknown, real, shifted, simulated };

struct MachineClock {
  Mode mode = Mode::unknown;
  std::int64_t shift = 0;
  std::atomic<std::int64_t>* now = nullptr;
};

std::atomic<std::int64_t>* mapVirtualNow() {
  const char* const directory = getenv("ZANSIM_STATE");
  if (directory == nullptr) return nullptr;
  char path[4096];
  const size_t length = strlen(directory);
  if (length + sizeof zansim::kStateFileName + 1 > sizeof path) return nullptr;
  stpcpy(stpcpy(stpcpy(path, directory), "/"), zansim::kStateFileName);
  const long file = syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC);
  if (file < 0) return nullptr;
  void* const memory = mmap(nullptr, sizeof(zansim::MachineState), PROT_READ | PROT_WRITE,
                            MAP_SHARED, static_cast<int>(file), 0);
  syscall(SYS_close, file);
  if (memory == MAP_FAILED) return nullptr;
  return &static_cast<zansim::MachineState*>(memory)->virtualNow;
}

const MachineClock& machineClock() {
  static MachineClock clock;
  if (clock.mode != Mode::unknown) return clock;
  const int error = errno;
  const char* const wanted = getenv("ZANSIM_CLOCK");
  if (wanted != nullptr && strcmp(wanted, "virtual") == 0) {
    clock.now = mapVirtualNow();
    clock.mode = clock.now == nullptr ? Mode::real : Mode::simulated;
  } else if (wanted != nullptr) {
    clock.shift = strtoll(wanted, nullptr, 10);
    clock.mode = clock.shift == 0 ? Mode::real : Mode::shifted;
  } else {
    clock.mode = Mode::real;
  }
  errno = error;
  return clock;
}

std::int64_t nanoseconds(const timespec& time) { return time.tv_sec * kSecond + time.tv_nsec; }

void set(timespec& time, std::int64_t value) {
  const std::int64_t rest = (value % kSecond + kSecond) % kSecond;
  time = {.tv_sec = (value - rest) / kSecond, .tv_nsec = rest};
}

bool isWallClock(clockid_t clock) {
  return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
}

// The coarse monotonic clock stays real, for whoever wants to know how long things really take.
bool isMonotonicClock(clockid_t clock) {
  return clock == CLOCK_MONOTONIC || clock == CLOCK_MONOTONIC_RAW || clock == CLOCK_BOOTTIME;
}

int readClock(clockid_t clock, timespec* time) {
  ZANSIM_NEXT(int, clock_gettime, (clockid_t, timespec*));
  const MachineClock& machine = machineClock();
  if (machine.mode == Mode::simulated && (isWallClock(clock) || isMonotonicClock(clock))) {
    set(*time, machine.now->load());
    return 0;
  }
  const int result = next(clock, time);
  if (result == 0 && machine.mode == Mode::shifted && isWallClock(clock)) {
    set(*time, nanoseconds(*time) + machine.shift);
  }
  return result;
}

// A program that waits in no time would fill a disk before anybody noticed.
constexpr std::int64_t kMostWaits = 2'000'000;
constexpr std::int64_t kMostBytes = 1 << 30;
constexpr std::int64_t kWaitsBetweenLooks = 1024;
constexpr std::int64_t kEndOfTime = 9'215'000'000 * kSecond;  // a few days into 2262

// How much this program has written, wherever to; 0 where the kernel does not count it.
std::int64_t bytesWritten() {
  const long file = syscall(SYS_openat, AT_FDCWD, "/proc/self/io", O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  char text[512];
  const long length = syscall(SYS_read, file, text, sizeof text - 1);
  syscall(SYS_close, file);
  text[length > 0 ? length : 0] = '\0';
  const char* const written = strstr(text, "wchar: ");
  return written == nullptr ? 0 : strtoll(written + strlen("wchar: "), nullptr, 10);
}

void endWhatNobodyLimits() {
  static const char kMessage[] =
      "zansim: on the virtual clock a program has waited two million times, written 1 GiB, or come "
      "to the end of the year 2261; limit how often it repeats\n";
  static bool said = false;
  if (!said) {
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kMessage, sizeof kMessage - 1);
    said = true;
    kill(getpid(), SIGTERM);
  } else {
    kill(getpid(), SIGKILL);
  }
}

// Moves the virtual clock to a time, unless another sleeper has taken it further.
void wakeAt(std::int64_t time) {
  static std::atomic<std::int64_t> waits = 0;
  const std::int64_t count = ++waits;
  const bool writesOn = count % kWaitsBetweenLooks == 0 && bytesWritten() > kMostBytes;
  if (count > kMostWaits || writesOn || time > kEndOfTime) return endWhatNobodyLimits();
  std::atomic<std::int64_t>& now = *machineClock().now;
  std::int64_t seen = now.load();
  while (seen < time && !now.compare_exchange_weak(seen, time)) {
  }
}

bool isVirtual() { return machineClock().mode == Mode::simulated; }

void sleepVirtually(std::int64_t duration) {
  std::int64_t end = 0;
  const bool isPast = __builtin_add_overflow(machineClock().now->load(), duration, &end);
  wakeAt(isPast ? INT64_MAX : end);
}

// Longer than this is as good as for ever, and beyond what the clock can show.
constexpr std::int64_t kLongestSleep = 3'000'000'000;

bool isDuration(const timespec* time) {
  return time->tv_sec >= 0 && time->tv_sec < kLongestSleep && time->tv_nsec >= 0 &&
         time->tv_nsec < kSecond;
}

}  // namespace

ZANSIM_STAND_IN(int, clock_gettime, (clockid_t clock, timespec* time)) {
  return readClock(clock, time);
}

ZANSIM_STAND_IN(time_t, time, (time_t * result)) {
  timespec now = {};
  // The coarse clock, as the C library's own function reads it.
  readClock(CLOCK_REALTIME_COARSE, &now);
  if (result != nullptr) *result = now.tv_sec;
  return now.tv_sec;
}

ZANSIM_STAND_IN(int, gettimeofday, (timeval * result, void*)) {
  timespec now = {};
  const int code = readClock(CLOCK_REALTIME, &now);
  if (code == 0) *result = {.tv_sec = now.tv_sec, .tv_usec = now.tv_nsec / 1000};
  return code;
}

ZANSIM_STAND_IN(int, timespec_get, (timespec * result, int base)) {
  if (base != TIME_UTC) return 0;
  return readClock(CLOCK_REALTIME, result) == 0 ? base : 0;
}

ZANSIM_STAND_IN(int, nanosleep, (const timespec* duration, timespec* rest)) {
  ZANSIM_NEXT(int, nanosleep, (const timespec*, timespec*));
  if (!isVirtual() || duration == nullptr || !isDuration(duration)) return next(duration, rest);
  sleepVirtually(nanoseconds(*duration));
  return 0;
}

ZANSIM_STAND_IN(int, clock_nanosleep,
                (clockid_t clock, int flags, const timespec* time, timespec* rest)) {
  ZANSIM_NEXT(int, clock_nanosleep, (clockid_t, int, const timespec*, timespec*));
  const bool absolute = (flags & TIMER_ABSTIME) != 0;
  if (isVirtual() && isDuration(time)) {
    absolute ? wakeAt(nanoseconds(*time)) : sleepVirtually(nanoseconds(*time));
    return 0;
  }
  timespec shifted = *time;
  if (absolute && isWallClock(clock)) {
    set(shifted, nanoseconds(*time) - machineClock().shift);
  }
  return next(clock, flags, &shifted, rest);
}

ZANSIM_STAND_IN(int, usleep, (useconds_t microseconds)) {
  ZANSIM_NEXT(int, usleep, (useconds_t));
  if (!isVirtual()) return next(microseconds);
  sleepVirtually(std::int64_t{microseconds} * 1000);
  return 0;
}

ZANSIM_STAND_IN(unsigned, sleep, (unsigned seconds)) {
  ZANSIM_NEXT(unsigned, sleep, (unsigned));
  if (!isVirtual()) return next(seconds);
  sleepVirtually(seconds * kSecond);
  return 0;
}
