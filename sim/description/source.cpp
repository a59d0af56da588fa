#include "description/source.h"

#include <cmath>

namespace zansim {

std::uint64_t NumberSource::at(Time now, unsigned owner, Time origin) const {
  if (kind != Kind::signal) return value;
  return static_cast<std::uint64_t>(std::llround(signal->valueAt(now, owner, origin)));
}

double NumberSource::integral(Time from, Time to, unsigned owner, Time origin) const {
  if (to <= from) return 0;
  if (kind == Kind::signal) return signal->integral(from, to, owner, origin);
  return static_cast<double>(value) * static_cast<double>(to - from);
}

}  // namespace zansim
