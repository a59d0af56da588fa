// A management library made of functions that a test binds one by one. Everything else is missing.
#pragma once

#include "device/board_power.h"
#include "device/session.h"
#include "support/held_devices.h"
#include "zanml/library.h"

#include <gtest/gtest.h>

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

  static nvmlReturn_t answerText(char* buffer, unsigned int size, const std::string& text) {
    if (text.size() >= size) return NVML_ERROR_INSUFFICIENT_SIZE;
    std::strcpy(buffer, text.c_str());
    return NVML_SUCCESS;
  }
};

}  // namespace zanctl
