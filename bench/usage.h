// What processes have used.
#pragma once

#include <sys/resource.h>

namespace zanctl {

inline rusage ownUsage() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage;
}

// User and system time.
inline double processorSeconds(const rusage& usage) {
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

}  // namespace zanctl
