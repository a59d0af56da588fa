// Runs a target once over every file of the directories named.
#include "target.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

int main(int argc, char** argv) {
  std::size_t count = 0;
  for (int argument = 1; argument < argc; ++argument) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[argument])) {
      // Told before, so that it stands there when the target ends the program.
      std::cout << entry.path().string() << std::endl;
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string input(std::istreambuf_iterator<char>(file), {});
      fuzz::examine(input);
      ++count;
    }
  }
  return count == 0 ? 1 : 0;
}
