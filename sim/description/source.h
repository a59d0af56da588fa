// Where the simulated library's answers come from: a constant, a signal, or a failing code.
#pragma once

#include "description/signal.h"
#include "zanml/zanml.h"

#include <cstdint>
#include <memory>
#include <string>

namespace zansim {

// One number of one GPU.
struct NumberSource {
  enum class Kind : std::uint8_t { unset, constant, signal, fails };

  Kind kind = Kind::unset;
  nvmlReturn_t code = NVML_SUCCESS;  // the answer when it fails
  std::uint64_t value = 0;
  std::shared_ptr<const Signal> signal = {};

  static NumberSource constant(std::uint64_t value) {
    return {.kind = Kind::constant, .value = value};
  }
  static NumberSource failing(nvmlReturn_t code) { return {.kind = Kind::fails, .code = code}; }

  // Meaningless for a failing source.
  std::uint64_t at(Time now, unsigned owner, Time origin = 0) const;

  // The integral since `from`, in units of the value times nanoseconds.
  double integral(Time from, Time to, unsigned owner, Time origin = 0) const;
};

// One text of one GPU, vGPU or of the system.
struct TextSource {
  bool given = false;
  // Fills the caller's buffer to its last byte, without a terminating NUL, and still succeeds.
  bool fillsBuffer = false;
  nvmlReturn_t code = NVML_SUCCESS;
  std::string text = {};

  static TextSource constant(std::string text) { return {.given = true, .text = std::move(text)}; }
  static TextSource failing(nvmlReturn_t code) { return {.given = true, .code = code}; }
};

}  // namespace zansim
