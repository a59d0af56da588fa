#include "description/signal.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace zansim {

namespace {

// A walk repeats after this many steps, which bounds the work of integrating it over years.
constexpr Time kWalkSteps = 64;
// Every so many steps the walk takes a new general direction.
constexpr Time kWalkStride = 8;
constexpr double kWalkDrift = 0.7;

struct Position {
  Time cycles;
  Time within;
};

Position locate(Time time, Time cycle) {
  const Time within = ((time % cycle) + cycle) % cycle;
  return {(time - within) / cycle, within};
}

double asDouble(Time time) { return static_cast<double>(time); }

std::uint64_t splitMix(std::uint64_t value) {
  value += 0x9e3779b97f4a7c15U;
  value = (value ^ (value >> 30U)) * 0xbf58476d1ce4e5b9U;
  value = (value ^ (value >> 27U)) * 0x94d049bb133111ebU;
  return value ^ (value >> 31U);
}

}  // namespace

std::uint64_t mix(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
  return splitMix(splitMix(splitMix(a) ^ b) ^ c);
}

double unitHash(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
  return static_cast<double>(mix(a, b, c) >> 11U) * 0x1p-53;
}

Time Signal::cycle() const {
  switch (shape) {
    case Shape::steps:
      return period * static_cast<Time>(values.size());
    case Shape::walk:
      return period * kWalkSteps;
    default:
      return period;
  }
}

Time Signal::shift(unsigned owner) const {
  if (phase >= 0) return phase;
  // Multiples of the golden ratio spread any number of owners evenly over the cycle.
  const double turns = owner * (std::numbers::phi - 1) + (seed == 0 ? 0.0 : unitHash(seed));
  return static_cast<Time>((turns - std::floor(turns)) * asDouble(cycle()));
}

double Signal::knot(Time index, unsigned owner) const {
  const Time step = index % kWalkSteps;
  const auto coarse = [&](Time stride) {
    return unitHash(seed, owner, static_cast<std::uint64_t>(stride % (kWalkSteps / kWalkStride)));
  };
  const Time stride = step / kWalkStride;
  const double along = asDouble(step % kWalkStride) / asDouble(kWalkStride);
  const double drift = coarse(stride) * (1 - along) + coarse(stride + 1) * along;
  const double jitter = unitHash(seed, owner, static_cast<std::uint64_t>(step + kWalkSteps));
  return min + (max - min) * (kWalkDrift * drift + (1 - kWalkDrift) * jitter);
}

double Signal::valueAt(Time now, unsigned owner, Time origin) const {
  if (after < 0) return valueIn(locate(now + shift(owner), cycle()).within, owner);
  const Time since = std::max<Time>(0, now - origin - after) + std::max<Time>(0, phase);
  return valueIn(once ? std::min(since, cycle() - 1) : since % cycle(), owner);
}

double Signal::valueIn(Time position, unsigned owner) const {
  const Time length = cycle();
  const double turn = asDouble(position) / asDouble(length);
  const Time step = position / period;
  switch (shape) {
    case Shape::sine:
      return (min + max) / 2 + (max - min) / 2 * std::sin(2 * std::numbers::pi * turn);
    case Shape::ramp:
      return min + (max - min) * turn;
    case Shape::steps:
      return values[static_cast<std::size_t>(step)];
    case Shape::walk:
      break;
  }
  const double along = asDouble(position % period) / asDouble(period);
  return knot(step, owner) * (1 - along) + knot(step + 1, owner) * along;
}

double Signal::integralInCycle(Time position, unsigned owner) const {
  const double x = asDouble(position);
  const double length = asDouble(cycle());
  const Time steps = position / period;
  const double rest = asDouble(position % period);
  double sum = 0;
  switch (shape) {
    case Shape::sine:
      return (min + max) / 2 * x + (max - min) / 2 * length / (2 * std::numbers::pi) *
                                       (1 - std::cos(2 * std::numbers::pi * x / length));
    case Shape::ramp:
      return min * x + (max - min) * x * x / (2 * length);
    case Shape::steps:
      for (Time i = 0; i < steps; ++i) sum += values[static_cast<std::size_t>(i)];
      sum *= asDouble(period);
      // The end of the cycle is no step of its own.
      return rest == 0 ? sum : sum + values[static_cast<std::size_t>(steps)] * rest;
    case Shape::walk:
      break;
  }
  for (Time i = 0; i < steps; ++i) sum += (knot(i, owner) + knot(i + 1, owner)) / 2;
  const double along = rest / asDouble(period);
  const double here = knot(steps, owner) * (1 - along) + knot(steps + 1, owner) * along;
  return sum * asDouble(period) + (knot(steps, owner) + here) / 2 * rest;
}

double Signal::integral(Time from, Time to, unsigned owner, Time origin) const {
  if (after < 0) return integralOfCycles(from + shift(owner), to + shift(owner), owner);
  // Before, during and behind the cycles.
  const Time ahead = std::max<Time>(0, phase);
  const Time begin = origin + after;
  const Time end = once ? begin + std::max<Time>(0, cycle() - ahead) : std::max(begin, to);
  const Time first = std::clamp(begin, from, to);
  const Time last = std::clamp(end, first, to);
  return valueAt(begin, owner, origin) * asDouble(first - from) +
         integralOfCycles(first - begin + ahead, last - begin + ahead, owner) +
         valueAt(end, owner, origin) * asDouble(to - last);
}

double Signal::integralOfCycles(Time from, Time to, unsigned owner) const {
  const Time length = cycle();
  const Position begin = locate(from, length);
  const Position end = locate(to, length);
  // Whole cycles are counted as integers: the difference of two large integrals would lose the
  // last few hundred nanoseconds.
  return asDouble(end.cycles - begin.cycles) * integralInCycle(length, owner) +
         integralInCycle(end.within, owner) - integralInCycle(begin.within, owner);
}

}  // namespace zansim
