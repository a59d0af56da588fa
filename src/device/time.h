// The wall clock and its texts, in local time.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include <sys/time.h>

namespace zanctl {

timeval currentTime();

// "Sat Mar  7 12:00:00 2026".
std::string calendarTime(std::time_t time);

// "Timestamp    Sat Mar  7 12:00:00 2026\n".
std::string timestampLine(std::time_t time);
std::string dateTimeStamp(std::time_t time);  // "YYYY-MM-DD HH:MM:SS"
std::string dateStamp(std::time_t time);      // "YYYYMMDD"
std::string timeStamp(std::time_t time);      // "HH:MM:SS"

// Sleeps for what remains of the interval since the start; not at all when it has passed, or when
// the clock was set back behind the start.
void paceInterval(const timeval& start, std::uint64_t intervalMicroseconds);

}  // namespace zanctl
