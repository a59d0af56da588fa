// Reads a file line by line in constant memory, whatever the file holds.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace zanctl {

enum class LineRead {
  line,
  end,
  tooLong,  // the line is longer than kLongestLine
  failed,   // the file could not be read
};

class LineReader {
 public:
  static constexpr std::size_t kLongestLine = 255;

  // Reads on from the descriptor's position. The descriptor stays the caller's.
  explicit LineReader(int descriptor);

  // The next line without its newline, valid until the next call; the last line of the file needs
  // no newline. Anything but `line` is final.
  [[nodiscard]] LineRead next(std::string_view& line);

 private:
  // False when the file could not be read. At its end, atEnd_ is set.
  [[nodiscard]] bool fill();

  int descriptor_;
  std::vector<char> block_;
  std::size_t begin_ = 0;  // of what is read but not yet handed out
  std::size_t end_ = 0;
  bool atEnd_ = false;
};

}  // namespace zanctl
