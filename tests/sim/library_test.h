// Tests that call the library's operations on a machine of their own.
#pragma once

#include "machine/session.h"
#include "workspace.h"
#include "zanml/zanml.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <stdlib.h>

namespace zansim {

class LibraryTest : public ::testing::Test {
 protected:
  LibraryTest() {
    setenv(kHostVariable, workspace.path("host.json").c_str(), 1);
    for (const char* other : {kStateVariable, kProcessesVariable, kTraceVariable}) unsetenv(other);
  }

  // Begins with the described machine and opens the library.
  void start(const std::string& json) {
    workspace.write("host.json", json);
    Session::restartOfProcess();
    ASSERT_EQ(nvmlInit(), NVML_SUCCESS);
  }

  nvmlDevice_t gpu(unsigned index) {
    nvmlDevice_t device = nullptr;
    EXPECT_EQ(nvmlDeviceGetHandleByIndex_v2(index, &device), NVML_SUCCESS);
    return device;
  }

  template <typename Operation>
  unsigned read(Operation operation, nvmlDevice_t device) {
    unsigned value = 0;
    EXPECT_EQ(operation(device, &value), NVML_SUCCESS);
    return value;
  }

  std::string name(nvmlDevice_t device) {
    char text[64] = {};
    EXPECT_EQ(nvmlDeviceGetName(device, text, sizeof text), NVML_SUCCESS);
    return text;
  }

  // The two calls for a list, as careful programs make them.
  template <typename Entry, typename Operation>
  std::vector<Entry> list(Operation operation) {
    unsigned count = 0;
    const nvmlReturn_t size = operation(&count, static_cast<Entry*>(nullptr));
    EXPECT_EQ(size, count == 0 ? NVML_SUCCESS : NVML_ERROR_INSUFFICIENT_SIZE);
    std::vector<Entry> entries(count);
    if (count > 0) {
      EXPECT_EQ(operation(&count, entries.data()), NVML_SUCCESS);
    }
    EXPECT_EQ(count, entries.size());
    return entries;
  }

  Workspace workspace;
};

}  // namespace zansim
