#include "output/log_file.h"

#include <iostream>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace zanctl {
namespace {

constexpr mode_t kLogFileMode = 0644;

using FileBuffer = __gnu_cxx::stdio_filebuf<char>;

std::unique_ptr<FileBuffer> openFile(const std::string& name) {
  if (name.empty()) return nullptr;
  const int descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kLogFileMode);
  return descriptor < 0 ? std::make_unique<FileBuffer>()
                        : std::make_unique<FileBuffer>(descriptor, std::ios::out);
}

}  // namespace

bool logFileStands(const std::string& fileName) {
  struct stat status {};
  return stat(fileName.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

Output::Output(std::string fileName)
    : fileName_(std::move(fileName)),
      buffer_(openFile(fileName_)),
      stream_(buffer_ == nullptr ? std::cout.rdbuf() : buffer_.get()) {}

bool Output::vanished() const { return buffer_ != nullptr && !logFileStands(fileName_); }

bool Output::flush() {
  stream_.flush();
  return stream_.good();
}

}  // namespace zanctl
