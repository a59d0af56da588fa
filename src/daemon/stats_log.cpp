#include "daemon/stats_log.h"

#include "daemon/stats_format.h"
#include "output/log_file.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
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

off_t size(const Descriptor& file) { return lseek(file.number(), 0, SEEK_END); }

bool endsWithinALine(const Descriptor& file) {
  const off_t end = size(file);
  char last = '\n';
  return end > 0 && pread(file.number(), &last, 1, end - 1) == 1 && last != '\n';
}

bool crossesAPage(off_t begin, std::size_t length) {
  const auto page = static_cast<off_t>(sysconf(_SC_PAGESIZE));
  return begin % page + static_cast<off_t>(length) > page;
}

// Whether it worked is told by the file's size.
void append(const Descriptor& file, std::string_view text) {
  while (write(file.number(), text.data(), text.size()) < 0 && errno == EINTR) {
  }
}

// The kernel appends page by page, and a process that is killed in between leaves the part on the
// first page. What kills the daemon does not reach its child, which shares its memory, so that
// nothing is copied.
void appendInChild(const Descriptor& file, std::string_view text) {
  const pid_t child = vfork();
  if (child <= 0) append(file, text);
  if (child == 0) _exit(0);
  while (child > 0 && waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
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
  const off_t before = size(file_);
  if (before < 0) return false;
  if (crossesAPage(before, text.size())) {
    appendInChild(file_, text);
  } else {
    append(file_, text);
  }
  if (size(file_) == before + static_cast<off_t>(text.size())) {
    lacksNewline_ = false;
    return true;
  }
  // A part of a line would make the whole day's file invalid.
  [[maybe_unused]] const int cut = ftruncate(file_.number(), before);
  return false;
}

bool StatsLog::exists() const { return logFileStands(fileName_); }

}  // namespace zanctl
