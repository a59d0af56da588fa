#include "output/log_file.h"

#include "output/replace_file.h"

#include <ostream>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zanctl {
namespace {

constexpr mode_t kLogFileMode = 0644;
constexpr std::size_t kLongText = 65'536;

Descriptor openFile(const std::string& name) {
  if (name.empty()) return Descriptor();
  return Descriptor(open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kLogFileMode));
}

}  // namespace

bool logFileStands(const std::string& fileName) {
  struct stat status {};
  return stat(fileName.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

Output::Output(std::string fileName, std::ostream& stream)
    : fileName_(std::move(fileName)), stream_(&stream), file_(openFile(fileName_)) {}

void Output::flushIfLong() {
  if (text_.size() >= kLongText) flush();
}

void Output::flush() {
  if (fileName_.empty()) {
    stream_->write(text_.data(), static_cast<std::streamsize>(text_.size())).flush();
    good_ = good_ && stream_->good();
  } else {
    good_ = good_ && writeWhole(file_.number(), text_);
  }
  text_.clear();
}

}  // namespace zanctl
