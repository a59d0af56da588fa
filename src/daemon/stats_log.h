// The daily file that the daemon writes.
#pragma once

#include "daemon/sole_writer.h"
#include "device/descriptor.h"

#include <string>
#include <string_view>

namespace zanctl {

class StatsLog {
 public:
  StatsLog(std::string directory, std::string suffix);

  // What to do with a file of that day that is there already.
  enum class Existing {
    append,
    appendIfValid,  // one that is not valid is set aside
  };

  // Switches to the file of the day, "YYYY-MM-DD", and creates it where there is none. Refused is
  // what openToWriteAlone refuses, and a file that cannot be read or set aside.
  [[nodiscard]] FileOpening open(std::string_view date, Existing existing);

  // Appends whole lines in one go, or nothing of them where that fails or another process writes
  // the file: false then.
  [[nodiscard]] bool write(std::string_view lines);

  // Whether the file still stands under its name.
  [[nodiscard]] bool exists() const;

  // Of the file opened last, whether that worked or not; empty before the first.
  [[nodiscard]] const std::string& date() const { return date_; }
  [[nodiscard]] const std::string& fileName() const { return fileName_; }

 private:
  [[nodiscard]] FileOpening settleContent();

  std::string directory_;
  std::string suffix_;
  std::string date_;
  std::string fileName_;
  Descriptor file_;
  bool lacksNewline_ = false;
};

}  // namespace zanctl
