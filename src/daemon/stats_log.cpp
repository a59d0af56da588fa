#include "daemon/stats_log.h"

#include "daemon/stats_format.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zanctl {
namespace {

constexpr mode_t kLogMode = 0644;

bool isRegularFile(const Descriptor& file) {
  struct stat status {};
  return fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode);
}

// Keeps the file's content if it is valid, and empties the file if it is not.
bool settleContent(const Descriptor& file) {
  switch (validateStats(file.number())) {
    case StatsValidity::valid:
      return true;
    case StatsValidity::invalid:
      return ftruncate(file.number(), 0) == 0;
    case StatsValidity::unreadable:
      break;
  }
  return false;
}

bool endsWithinALine(const Descriptor& file) {
  const off_t size = lseek(file.number(), 0, SEEK_END);
  char last = '\n';
  return size > 0 && pread(file.number(), &last, 1, size - 1) == 1 && last != '\n';
}

}  // namespace

StatsLog::StatsLog(std::string directory, std::string suffix)
    : directory_(std::move(directory)), suffix_(std::move(suffix)) {}

bool StatsLog::open(std::string_view date, Existing existing) {
  date_ = date;
  fileName_ = statsFileName(directory_, suffix_, date);
  // Not blocking, so that a pipe of that name does not hold the daemon up.
  constexpr int kFlags = O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  file_ = Descriptor(::open(fileName_.c_str(), kFlags, kLogMode));
  if (!file_.isOpen() || !isRegularFile(file_)) return false;
  if (existing == Existing::appendIfValid && !settleContent(file_)) return false;
  lacksNewline_ = endsWithinALine(file_);
  return true;
}

bool StatsLog::write(std::string_view lines) {
  const std::string text = (lacksNewline_ ? "\n" : "") + std::string(lines);
  ssize_t count = 0;
  do {
    count = ::write(file_.number(), text.data(), text.size());
  } while (count < 0 && errno == EINTR);
  if (count == static_cast<ssize_t>(text.size())) {
    lacksNewline_ = false;
    return true;
  }
  // A part of a line would make the whole day's file invalid.
  if (count > 0) {
    [[maybe_unused]] const int cut =
        ftruncate(file_.number(), lseek(file_.number(), 0, SEEK_CUR) - count);
  }
  return false;
}

bool StatsLog::exists() const { return access(fileName_.c_str(), F_OK) == 0; }

}  // namespace zanctl
