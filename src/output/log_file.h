// Where the text of a command goes: the stream that it was given, or the file that -f names.
#pragma once

#include "device/descriptor.h"

#include <iosfwd>
#include <string>

namespace zanctl {

// Whether something other than a directory stands under the name of a log file that is open.
[[nodiscard]] bool logFileStands(const std::string& fileName);

class Output {
 public:
  // Opens the file, emptied, for the life of this object; an empty name stands for the stream.
  Output(std::string fileName, std::ostream& stream);

  // False when the file could not be opened.
  [[nodiscard]] bool usable() const { return fileName_.empty() || file_.isOpen(); }
  [[nodiscard]] const std::string& fileName() const { return fileName_; }
  // Where messages go, whatever becomes of the file.
  [[nodiscard]] std::ostream& messages() const { return *stream_; }

  // What is to be written next; printers append to it.
  [[nodiscard]] std::string& text() { return text_; }
  // Writes the text out and empties it.
  void flush();
  // The same once more has gathered than is worth holding.
  void flushIfLong();

  // False once something could not be written.
  [[nodiscard]] bool good() const { return good_; }
  // Whether no file stands under its name any more; never true of the stream.
  [[nodiscard]] bool vanished() const { return !fileName_.empty() && !logFileStands(fileName_); }

 private:
  std::string fileName_;
  std::ostream* stream_;
  Descriptor file_;
  std::string text_;
  bool good_ = true;
};

}  // namespace zanctl
