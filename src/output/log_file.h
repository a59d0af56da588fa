// Where a report goes: standard output, or the file that -f names.
#pragma once

#include <memory>
#include <ostream>
#include <string>

#include <ext/stdio_filebuf.h>

namespace zanctl {

// Whether something other than a directory stands under the name of a log file that is open.
[[nodiscard]] bool logFileStands(const std::string& fileName);

class Output {
 public:
  // Opens the file, emptied, for the life of this object; an empty name stands for standard output.
  explicit Output(std::string fileName);

  // False when the file could not be opened.
  [[nodiscard]] bool usable() const { return buffer_ == nullptr || buffer_->is_open(); }
  [[nodiscard]] std::ostream& stream() { return stream_; }
  [[nodiscard]] const std::string& fileName() const { return fileName_; }

  // Whether no file stands under its name any more; never true of standard output.
  [[nodiscard]] bool vanished() const;
  // Writes out what is buffered. False when this or anything before could not be written.
  [[nodiscard]] bool flush();

 private:
  std::string fileName_;
  std::unique_ptr<__gnu_cxx::stdio_filebuf<char>> buffer_;
  std::ostream stream_;
};

}  // namespace zanctl
