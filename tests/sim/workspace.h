// Files for a test, in a directory that goes with it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <stdlib.h>

namespace zansim {

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

}  // namespace zansim
