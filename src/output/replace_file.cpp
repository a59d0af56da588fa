#include "output/replace_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zanctl {
namespace {

bool fillAndClose(int file, std::string_view text) {
  constexpr mode_t kReadableForAll = 0644;
  const bool done =
      writeWhole(file, text) && fchmod(file, kReadableForAll) == 0 && fsync(file) == 0;
  const int error = errno;
  const bool closed = close(file) == 0;
  if (!done) errno = error;
  return done && closed;
}

// So that the new name outlives a power failure.
void syncDirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const int file = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (file < 0) return;
  fsync(file);
  close(file);
}

}  // namespace

bool writeWhole(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::string replaceFile(const std::string& path, std::string_view text) {
  // Collectors of such files look for their suffix.
  std::string temporary = path + ".XXXXXX";
  const auto failure = [&] { return fmt::format("{}: {}", path, std::strerror(errno)); };
  const int file = mkostemp(temporary.data(), O_CLOEXEC);
  if (file < 0) return failure();
  if (!fillAndClose(file, text) || std::rename(temporary.c_str(), path.c_str()) != 0) {
    std::string problem = failure();
    unlink(temporary.c_str());
    return problem;
  }
  syncDirectoryOf(path);
  return {};
}

}  // namespace zanctl
