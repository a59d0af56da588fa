// The call trace: one line per call, written at once, so that the lines of several processes stand
// whole in one file.
#pragma once

#include "description/operations.h"

#include <initializer_list>
#include <optional>
#include <string>

namespace zansim {

// What a call was given: a GPU or a number.
struct TraceArgument {
  enum class Kind { number, gpu, foreign };
  Kind kind;
  unsigned long long value;

  static TraceArgument number(unsigned long long value) { return {Kind::number, value}; }
  static TraceArgument gpu(std::optional<unsigned> index) {
    return index ? TraceArgument{Kind::gpu, *index} : TraceArgument{Kind::foreign, 0};
  }
};

class Trace {
 public:
  // An empty path: no trace.
  explicit Trace(std::string path) : path_(std::move(path)) {}

  bool isOn() const { return !path_.empty(); }
  void write(Operation operation, std::initializer_list<TraceArgument> arguments,
             nvmlReturn_t code) const;

 private:
  std::string path_;
};

}  // namespace zansim
