// A whole log file: read line by line, checked, taken over by the daemon and played back. The first
// byte tells whether the file begins with so many headers that the rest crosses the reader's block.
#include "daemon/stats_log.h"

#include "daemon/playback.h"
#include "stats_log/line_reader.h"
#include "target.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace zanctl;
using fuzz::expect;

constexpr const char* kDate = "2026-03-07";
constexpr std::string_view kRecord =
    " 10:00:00     0   100    50     -     1     2     3     4     5     6\n";
constexpr std::size_t kBlockSize = 65'536;

struct Workspace {
  std::string directory = (std::filesystem::temp_directory_path() / "log-XXXXXX").string();
  std::string file;

  Workspace() {
    expect(mkdtemp(directory.data()) != nullptr, "a directory can be made");
    file = statsFileName(directory, "", kDate);
  }
  ~Workspace() { std::filesystem::remove_all(directory); }
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  [[nodiscard]] std::string content() const {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  [[nodiscard]] Descriptor open() const { return Descriptor(::open(file.c_str(), O_RDONLY)); }
};

std::string contentOf(std::string_view input) {
  const bool crossing = (fuzz::take<std::uint8_t>(input) & 1) != 0;
  std::string content;
  while (crossing && content.size() + kStatsHeader1.size() < kBlockSize) {
    content += std::string(kStatsHeader1) + "\n";
  }
  return content += input;
}

bool isLine(std::string_view line) {
  return line == kStatsHeader1 || line == kStatsHeader2 || parseStatsLine(line);
}

// Whether every line is one of a log.
bool checkLines(const Workspace& workspace, std::string_view content) {
  const Descriptor file = workspace.open();
  LineReader reader(file.number());
  std::string_view line;
  bool valid = true;
  while (!content.empty()) {
    const std::size_t end = std::min(content.find('\n'), content.size());
    const LineRead read = reader.next(line);
    if (end > LineReader::kLongestLine) {
      expect(read == LineRead::tooLong, "a long line is told");
      return false;
    }
    expect(read == LineRead::line && line == content.substr(0, end), "a line is read as it is");
    valid = valid && isLine(line);
    content.remove_prefix(std::min(end + 1, content.size()));
  }
  expect(reader.next(line) == LineRead::end, "the end comes after the last line");
  return valid;
}

void checkPlayback(const Workspace& workspace) {
  const Descriptor file = workspace.open();
  LineReader reader(file.number());
  Playback playback({}, {});
  for (std::string_view line; reader.next(line) == LineRead::line;) {
    expect(playback.next(line) != Playback::Answer::stop, "a valid file is played to its end");
  }
}

}  // namespace

void fuzz::examine(std::string_view input) {
  static const Workspace workspace;
  std::string content = contentOf(input);
  std::ofstream(workspace.file, std::ios::binary) << content;
  const bool valid = checkLines(workspace, content);
  const auto validity = [] { return validateStats(workspace.open().number()); };
  expect((validity() == StatsValidity::valid) == valid, "a file is valid when all its lines are");
  if (valid) checkPlayback(workspace);

  StatsLog log(workspace.directory, "");
  expect(log.open(kDate, StatsLog::Existing::appendIfValid) == FileOpening::opened,
         "a file can be taken over");
  expect(std::filesystem::remove(workspace.file + ".invalid") != valid, "others are set aside");
  if (!valid) content.clear();
  expect(workspace.content() == content, "a file is kept when it is valid, and begun anew if not");
  expect(log.write(kRecord), "a record can be added");
  if (!content.empty() && !content.ends_with('\n')) content += '\n';
  expect(workspace.content() == content + std::string(kRecord), "a record stands in its own line");
  expect(validity() == StatsValidity::valid, "a file that was taken over is valid");
}
