// Stands in for the functions that tell who is asking and how many processors there are.
#include "preload/interpose.h"

#include <cstdlib>

#include <sys/types.h>
#include <unistd.h>

namespace {

constexpr long kUnset = -1;

// The variable's number, or kUnset.
long numberFrom(const char* variable) {
  const char* const text = getenv(variable);
  return text == nullptr ? kUnset : strtol(text, nullptr, 10);
}

long userId() {
  static const long kId = numberFrom("ZANSIM_UID");
  return kId;
}

long processors() {
  static const long kProcessors = numberFrom("ZANSIM_CPUS");
  return kProcessors;
}

}  // namespace

ZANSIM_STAND_IN(uid_t, geteuid, ()) {
  ZANSIM_NEXT(uid_t, geteuid, ());
  return userId() == kUnset ? next() : static_cast<uid_t>(userId());
}

ZANSIM_STAND_IN(uid_t, getuid, ()) {
  ZANSIM_NEXT(uid_t, getuid, ());
  return userId() == kUnset ? next() : static_cast<uid_t>(userId());
}

ZANSIM_STAND_IN(long, sysconf, (int name)) {
  ZANSIM_NEXT(long, sysconf, (int));
  const bool asksProcessors = name == _SC_NPROCESSORS_ONLN || name == _SC_NPROCESSORS_CONF;
  return asksProcessors && processors() != kUnset ? processors() : next(name);
}

ZANSIM_STAND_IN(int, get_nprocs, ()) {
  ZANSIM_NEXT(int, get_nprocs, ());
  return processors() == kUnset ? next() : static_cast<int>(processors());
}
