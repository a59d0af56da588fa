// An open file or directory, closed with the object.
#pragma once

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include <unistd.h>

namespace zansim {

[[noreturn]] inline void throwSystemError(const std::string& path) {
  throw std::runtime_error(fmt::format("{}: {}", path, std::strerror(errno)));
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  // Throws std::runtime_error with the path and the reason when the file could not be opened.
  Descriptor(int number, const std::string& path) : number_(number) {
    if (number < 0) throwSystemError(path);
  }
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&&) = delete;

  int number() const { return number_; }

 private:
  int number_;
};

}  // namespace zansim
