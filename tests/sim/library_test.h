// Tests that call the library's operations on a machine of their own.
#pragma once

#include "machine/session.h"
#include "zanml/zanml.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <stdlib.h>

namespace zansim {

// Files for a test, in a directory that goes with it.
class Workspace {
 public:
  Workspace() {
    std::string name = std::filesystem::temp_directory_path() / "zansim-test-XXXXXX";
    path_ = mkdtemp(name.data());
  }
  ~Workspace() {
    // What a failed test has left is there to be looked at.
    if (::testing::Test::HasFailure()) {
      std::fprintf(stderr, "files of the failed test: %s\n", path_.c_str());
      return;
    }
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  std::string path(const std::string& name) const { return path_ + "/" + name; }

  // Under another name first, so that nobody reads half a file.
  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(path(name + ".new")) << content;
    std::filesystem::rename(path(name + ".new"), path(name));
    return path(name);
  }

  std::string read(const std::string& name) const {
    std::ifstream file(path(name));
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string path_;
};

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
