// Values that change with time. A signal is a pure function of its description, of the time and of
// whose value it is, so every process that reads it at one moment reads the same value.
#pragma once

#include <cstdint>
#include <vector>

namespace zansim {

// Nanoseconds since the epoch, on the clock that the simulated machine shows.
using Time = std::int64_t;
constexpr Time kSecond = 1'000'000'000;

struct Signal {
  enum class Shape { sine, ramp, steps, walk };

  Shape shape = Shape::sine;
  double min = 0;
  double max = 0;
  // Nanoseconds: of one cycle for sine and ramp, of one step for steps and walk.
  Time period = kSecond;
  // Nanoseconds by which the cycle is shifted; negative: each owner gets a shift of its own.
  Time phase = -1;
  std::uint64_t seed = 0;
  std::vector<double> values;  // of steps, repeated for ever
  // Nanoseconds after the machine's start at which the cycle begins; until then the signal keeps
  // its first value. Negative: it has run since long before.
  Time after = -1;
  bool once = false;  // keeps its last value after one cycle

  // `owner` tells apart the GPUs (or engines) that share one description; the machine started at
  // `origin`.
  double valueAt(Time now, unsigned owner, Time origin = 0) const;

  // The integral from `from` to `to`, in units of the value times nanoseconds; never decreases
  // with `to` while the signal is not negative.
  double integral(Time from, Time to, unsigned owner, Time origin = 0) const;

 private:
  Time cycle() const;
  Time shift(unsigned owner) const;
  double valueIn(Time position, unsigned owner) const;
  double integralOfCycles(Time from, Time to, unsigned owner) const;
  double knot(Time index, unsigned owner) const;
  double integralInCycle(Time position, unsigned owner) const;
};

// A well-mixed 64-bit value of its arguments.
std::uint64_t mix(std::uint64_t a, std::uint64_t b = 0, std::uint64_t c = 0);

// A value in [0, 1) that depends on nothing but its arguments.
double unitHash(std::uint64_t a, std::uint64_t b = 0, std::uint64_t c = 0);

}  // namespace zansim
