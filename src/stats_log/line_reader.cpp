#include "stats_log/line_reader.h"

#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace zanctl {
namespace {

constexpr std::size_t kBlockSize = 65'536;

}  // namespace

LineReader::LineReader(int descriptor) : descriptor_(descriptor), block_(kBlockSize) {}

LineRead LineReader::next(std::string_view& line) {
  for (;;) {
    const char* const begin = block_.data() + begin_;
    const std::size_t held = end_ - begin_;
    const void* const newline = held == 0 ? nullptr : std::memchr(begin, '\n', held);
    const std::size_t length =
        newline == nullptr ? held
                           : static_cast<std::size_t>(static_cast<const char*>(newline) - begin);
    if (length > kLongestLine) return LineRead::tooLong;
    if (newline != nullptr || (atEnd_ && held > 0)) {
      line = {begin, length};
      begin_ += newline == nullptr ? length : length + 1;
      return LineRead::line;
    }
    if (atEnd_) return LineRead::end;
    if (!fill()) return LineRead::failed;
  }
}

bool LineReader::fill() {
  std::memmove(block_.data(), block_.data() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  ssize_t count = 0;
  do {
    count = read(descriptor_, block_.data() + end_, block_.size() - end_);
  } while (count < 0 && errno == EINTR);
  if (count < 0) return false;
  atEnd_ = count == 0;
  end_ += static_cast<std::size_t>(count);
  return true;
}

}  // namespace zanctl
