#include "daemon/pid_file.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <charconv>

#include <fcntl.h>

namespace zanctl {
namespace {

constexpr mode_t kPidFileMode = 0644;
constexpr std::size_t kContentSize = 16;

}  // namespace

PidFile::PidFile() : file_(::open(kPidFile, O_RDWR | O_CREAT | O_CLOEXEC, kPidFileMode)) {}

PidFile::Lock PidFile::lock() {
  struct flock whole {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  if (fcntl(file_.number(), F_SETLK, &whole) == 0) return Lock::taken;
  return errno == EACCES || errno == EAGAIN ? Lock::heldByAnother : Lock::failed;
}

bool PidFile::writePid(pid_t pid) {
  // With the zero byte at the end of its text.
  const std::string text = fmt::format("{}", pid) + '\0';
  return ftruncate(file_.number(), 0) == 0 &&
         ::write(file_.number(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

std::string PidFile::read() const {
  std::array<char, kContentSize> content{};
  const ssize_t count = ::read(file_.number(), content.data(), content.size());
  return {content.data(), count < 0 ? 0 : static_cast<std::size_t>(count)};
}

std::string_view pidText(std::string_view content) { return content.substr(0, content.find('\0')); }

std::optional<pid_t> pidToSignal(std::string_view content) {
  std::string_view text = pidText(content);
  // As much as can be read: there may be more digits.
  if (text.size() == kContentSize) return std::nullopt;
  if (text.ends_with('\n')) text.remove_suffix(1);
  pid_t pid = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), pid);
  const bool isWhole = error == std::errc() && end == text.data() + text.size();
  // 0 and negative numbers stand for groups of processes, and 1 is init.
  return isWhole && pid > 1 ? std::optional(pid) : std::nullopt;
}

}  // namespace zanctl
