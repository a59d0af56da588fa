#include "device/process.h"

#include "device/descriptor.h"
#include "device/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <locale.h>
#include <unistd.h>
#include <wctype.h>

namespace zanctl {
namespace {

constexpr std::string_view kProcessFiles = "/proc";
// Longer command lines are cut here, as the process listing does.
constexpr std::size_t kMaxCommandLine = 128 * 1024 - 1;

std::optional<std::string> readFile(const std::string& path, std::size_t limit) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) return std::nullopt;
  std::string content;
  while (content.size() < limit) {
    const std::size_t filled = content.size();
    content.resize(std::min(limit, filled + 4096));
    const ssize_t got = read(file.number(), content.data() + filled, content.size() - filled);
    content.resize(filled + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got <= 0) break;
  }
  return content;
}

bool isPlain(char c) { return c >= ' ' && c <= '~'; }

// Characters are judged as in a UTF-8 terminal, whatever the caller's locale.
bool isPrintable(std::uint32_t codePoint) {
  static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return utf8 != nullptr && iswprint_l(codePoint, utf8) != 0;
}

// The process listing looks for control characters from the lead byte of one character to that of
// the next. Where there is none it gives up on UTF-8: from there on control characters show as "."
// and all beyond ASCII as "?".
void markControls(std::string& text) {
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t length = sequenceLength(static_cast<unsigned char>(text[begin]));
    if (length == 0 || begin + length > text.size()) break;
    if (length == 1 && !isPlain(text[begin])) text[begin] = '?';
    begin += length;
  }
  for (char& c : std::span(text).subspan(std::min(begin, text.size()))) {
    if (!isPlain(c)) c = static_cast<unsigned char>(c) < 0x80 ? '.' : '?';
  }
}

// What would not print shows as "?", as in the process listing, and so does what would turn the
// direction of the text around.
std::string printable(std::string text) {
  if (std::all_of(text.begin(), text.end(), isPlain)) return text;
  markControls(text);
  std::string shown;
  for (std::string_view rest = text; !rest.empty();) {
    const auto [codePoint, length, valid] = firstCharacter(rest);
    if (!valid) {
      shown.append(length, '?');
    } else if (isPrintable(codePoint) && !isBidirectionalOverride(codePoint)) {
      shown += rest.substr(0, length);
    } else {
      shown += '?';
    }
    rest.remove_prefix(length);
  }
  return shown;
}

std::string pathOf(std::uint32_t pid, std::string_view file) {
  return fmt::format("{}/{}/{}", kProcessFiles, pid, file);
}

// Arguments that end in null bytes.
std::optional<std::string> readCommandLine(std::uint32_t pid) {
  return readFile(pathOf(pid, "cmdline"), kMaxCommandLine);
}

bool servesVgpu(std::uint32_t pid) {
  const auto& vgpuPids = vgpuProcessTable();
  return pid != 0 && std::find(vgpuPids.begin(), vgpuPids.end(), pid) != vgpuPids.end();
}

// "[name]" from a line of the form "pid (name) state ...", with the mark of a zombie.
std::string bracketedName(std::uint32_t pid) {
  const std::string line = readFile(pathOf(pid, "stat"), 4096).value_or("");
  const std::string_view status = line;
  const std::size_t open = status.find('(');
  const std::size_t close = status.rfind(')');
  if (open == std::string_view::npos || close == std::string_view::npos) return {};
  const std::string name = printable(std::string(status.substr(open + 1, close - open - 1)));
  const bool zombie = status.substr(close).starts_with(") Z");
  return fmt::format("[{}]{}", name, zombie ? " <defunct>" : "");
}

}  // namespace

std::array<std::uint32_t, kZanmlMaxVgpuPids>& vgpuProcessTable() {
  static std::array<std::uint32_t, kZanmlMaxVgpuPids> table{};
  return table;
}

std::uint32_t ownProcessId() { return static_cast<std::uint32_t>(getpid()); }

bool processExists(std::int32_t pid) {
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(
      opendir(fmt::format("{}/{}", kProcessFiles, pid).c_str()), closedir);
  return directory != nullptr;
}

std::string processName(std::uint32_t pid) {
  if (servesVgpu(pid)) return "vgpu";
  auto commandLine = readCommandLine(pid);
  if (!commandLine) return {};
  if (commandLine->empty()) return bracketedName(pid);
  commandLine->erase(commandLine->find_last_not_of('\0') + 1);
  if (commandLine->empty()) return "?";
  std::replace_if(
      commandLine->begin(), commandLine->end(), [](char c) { return c == '\0' || c == '\n'; }, ' ');
  return printable(std::move(*commandLine));
}

std::string programName(std::uint32_t pid) {
  const auto commandLine = servesVgpu(pid) ? std::nullopt : readCommandLine(pid);
  if (!commandLine || commandLine->empty()) return processName(pid);
  const std::string_view program(commandLine->c_str());
  return printable(std::string(program.substr(program.rfind('/') + 1)));
}

}  // namespace zanctl
