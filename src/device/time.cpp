#include "device/time.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include <unistd.h>

namespace zanctl {
namespace {

constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
// One sleep's argument is 32 bits wide.
constexpr std::uint64_t kLongestSleep = 1000 * kMicrosecondsPerSecond;

std::tm localTime(std::time_t time) {
  std::tm local{};
  localtime_r(&time, &local);
  return local;
}

std::uint64_t microseconds(const timeval& time) {
  return static_cast<std::uint64_t>(time.tv_sec) * kMicrosecondsPerSecond +
         static_cast<std::uint64_t>(time.tv_usec);
}

}  // namespace

timeval currentTime() {
  timeval now{};
  gettimeofday(&now, nullptr);
  return now;
}

std::string calendarTime(std::time_t time) {
  const std::tm local = localTime(time);
  std::array<char, 64> text{};
  // asctime_r() refuses years of more than four digits.
  const std::size_t size = strftime(text.data(), text.size(), "%a %b %e %H:%M:%S %Y", &local);
  return {text.data(), size};
}

std::string timestampLine(std::time_t time) {
  return fmt::format("Timestamp    {}\n", calendarTime(time));
}

std::string dateTimeStamp(std::time_t time) {
  const std::tm local = localTime(time);
  return fmt::format("{:04}-{:02}-{:02} {}", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                     timeStamp(time));
}

std::string dateStamp(std::time_t time) {
  const std::tm local = localTime(time);
  return fmt::format("{:04}{:02}{:02}", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
}

std::string timeStamp(std::time_t time) {
  const std::tm local = localTime(time);
  return fmt::format("{:02}:{:02}:{:02}", local.tm_hour, local.tm_min, local.tm_sec);
}

void paceInterval(const timeval& start, std::uint64_t intervalMicroseconds) {
  // A clock set back makes the unsigned difference huge.
  const std::uint64_t elapsed = microseconds(currentTime()) - microseconds(start);
  if (elapsed >= intervalMicroseconds) return;
  for (std::uint64_t rest = intervalMicroseconds - elapsed; rest > 0;) {
    const std::uint64_t sleep = std::min(rest, kLongestSleep);
    usleep(static_cast<useconds_t>(sleep));
    rest -= sleep;
  }
}

}  // namespace zanctl
