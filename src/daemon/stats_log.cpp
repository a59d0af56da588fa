#include "daemon/stats_log.h"

#include "output/log_file.h"
#include "stats_log/stats_format.h"

#include <cerrno>
#include <utility>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zanctl {
namespace {

off_t size(const Descriptor& file) {
  struct stat status {};
  return fstat(file.number(), &status) == 0 ? status.st_size : -1;
}

bool endsWithinALine(const Descriptor& file) {
  const off_t end = size(file);
  char last = '\n';
  return end > 0 && pread(file.number(), &last, 1, end - 1) == 1 && last != '\n';
}

bool crossesAPage(off_t begin, std::size_t length) {
  const auto page = static_cast<off_t>(sysconf(_SC_PAGESIZE));
  return begin % page + static_cast<off_t>(length) > page;
}

// How much was written; negative for an error.
ssize_t append(const Descriptor& file, std::string_view text) {
  ssize_t count = 0;
  do {
    count = write(file.number(), text.data(), text.size());
  } while (count < 0 && errno == EINTR);
  return count;
}

// The kernel appends page by page, and a process that is killed in between leaves the part on the
// first page. What kills the daemon does not reach its child, which shares its memory, so that
// nothing is copied.
ssize_t appendInChild(const Descriptor& file, std::string_view text) {
  volatile ssize_t count = -1;
  const pid_t child = vfork();
  if (child <= 0) count = append(file, text);
  if (child == 0) _exit(0);
  while (child > 0 && waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
  return count;
}

// Takes back what was appended last, for a part of a line would make the whole file invalid; not
// where somebody else has appended since.
void takeBack(const Descriptor& file, off_t count) {
  const off_t end = lseek(file.number(), 0, SEEK_CUR);
  if (end != size(file)) return;
  [[maybe_unused]] const int cut = ftruncate(file.number(), end - count);
}

}  // namespace

StatsLog::StatsLog(std::string directory, std::string suffix)
    : directory_(std::move(directory)), suffix_(std::move(suffix)) {}

FileOpening StatsLog::open(std::string_view date, Existing existing) {
  date_ = date;
  fileName_ = statsFileName(directory_, suffix_, date);
  FileOpening opening = openToWriteAlone(fileName_, file_);
  if (opening == FileOpening::opened && existing == Existing::appendIfValid) {
    opening = settleContent();
  }
  if (opening == FileOpening::opened) lacksNewline_ = endsWithinALine(file_);
  return opening;
}

FileOpening StatsLog::settleContent() {
  const StatsValidity validity = validateStats(file_.number());
  if (validity == StatsValidity::valid) return FileOpening::opened;
  if (validity == StatsValidity::unreadable || !setAside(fileName_)) return FileOpening::refused;
  // Until there is a new file the lock of the old one keeps others away.
  Descriptor fresh;
  const FileOpening opening = openToWriteAlone(fileName_, fresh);
  file_ = std::move(fresh);
  return opening;
}

bool StatsLog::write(std::string_view lines) {
  const std::string text = (lacksNewline_ ? "\n" : "") + std::string(lines);
  const off_t end = size(file_);
  if (end < 0 || !mayWrite(file_)) return false;
  const ssize_t count =
      crossesAPage(end, text.size()) ? appendInChild(file_, text) : append(file_, text);
  if (count == static_cast<ssize_t>(text.size())) {
    lacksNewline_ = false;
    return true;
  }
  if (count > 0) takeBack(file_, count);
  return false;
}

bool StatsLog::exists() const { return logFileStands(fileName_); }

}  // namespace zanctl
