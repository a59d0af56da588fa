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

  // `owner` tells apart the GPUs (or engines) that share one description.
  double valueAt(Time now, unsigned owner) const;

  // The integral from `from` to `to`, in units of the value times nanoseconds; never decreases
  // with `to` while the signal is not negative.
  double integral(Time from, Time to, unsigned owner) const;

 private:
  Time cycle() const;
  Time shift(unsigned owner) const;
  double knot(Time index, unsigned owner) const;
  double integralInCycle(Time position, unsigned owner) const;
};

// A well-mixed 64-bit value of its arguments.
std::uint64_t mix(std::uint64_t a, std::uint64_t b = 0, std::uint64_t c = 0);

// A value in [0, 1) that depends on nothing but its arguments.
double unitHash(std::uint64_t a, std::uint64_t b = 0, std::uint64_t c = 0);

}  // namespace zansim
