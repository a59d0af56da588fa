// Where the parts of the simulator are, found from the launcher's own executable; the same in a
// build tree and where it is installed.
#pragma once

#include <string>
#include <vector>

namespace zansim {

struct Layout {
  std::string programs;   // directory of the launcher and, usually, of the tool
  std::string libraries;  // directory of libzanml.so
  std::string preload;    // the preload library
  std::string process;    // the program of the described processes
  std::string hosts;      // directory of the descriptions that come with the simulator
  std::string example;    // the description that uses every key
};

Layout findLayout();

// The file that "--host" means: the name of a description that comes with the simulator, or a
// file, which is answered as it is. Throws std::runtime_error with a helpful text when it is
// neither.
std::string findHost(const Layout& layout, const std::string& nameOrFile);

// Ascending.
std::vector<std::string> hostNames(const Layout& layout);

}  // namespace zansim
