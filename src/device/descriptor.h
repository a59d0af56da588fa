// An open file descriptor, closed with its owner.
#pragma once

#include <utility>

#include <unistd.h>

namespace zanctl {

class Descriptor {
 public:
  // Takes what open(2) returned; a negative number is an open that failed.
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    reset();
    number_ = std::exchange(other.number_, -1);
    return *this;
  }

  [[nodiscard]] bool isOpen() const { return number_ >= 0; }
  [[nodiscard]] int number() const { return number_; }

 private:
  void reset() {
    if (isOpen()) close(number_);
  }

  int number_;
};

}  // namespace zanctl
