// A management library made of functions that a test binds one by one. Everything else is missing.
#pragma once

#include "device/readers.h"
#include "device/session.h"
#include "zanml/library.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <map>
#include <string>

namespace zanctl {

class FakeLibrary : public testing::Test {
 protected:
  FakeLibrary() {
    library() = Library{};
    session() = DeviceSession{};
    boardPowerTable().clear();
  }
  ~FakeLibrary() override {
    library() = Library{};
    session() = DeviceSession{};
  }

  static std::uint32_t gpuOf(nvmlDevice_t device) {
    return static_cast<std::uint32_t>(reinterpret_cast<char*>(device) - cells.data());
  }
  static nvmlDevice_t handleOf(std::uint32_t gpu) {
    return reinterpret_cast<nvmlDevice_t>(&cells[gpu]);
  }

  // A session as openSession leaves it.
  static void holdDevices(std::uint32_t count) {
    session().initialised = true;
    session().deviceCount = count;
    for (std::uint32_t gpu = 0; gpu < count; ++gpu) session().handles.push_back(handleOf(gpu));
  }

  static nvmlReturn_t answerText(char* buffer, unsigned int size, const std::string& text) {
    if (text.size() >= size) return NVML_ERROR_INSUFFICIENT_SIZE;
    std::strcpy(buffer, text.c_str());
    return NVML_SUCCESS;
  }

 private:
  // What a handle points to, by GPU index.
  inline static std::array<char, 64> cells;
};

}  // namespace zanctl
