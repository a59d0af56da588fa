#include "device/process.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>

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
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return std::nullopt;
  std::string content;
  while (content.size() < limit) {
    const std::size_t filled = content.size();
    content.resize(std::min(limit, filled + 4096));
    const ssize_t got = read(descriptor, content.data() + filled, content.size() - filled);
    content.resize(filled + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got <= 0) break;
  }
  close(descriptor);
  return content;
}

bool isPlain(char c) { return c >= ' ' && c <= '~'; }

// Characters are judged as in a UTF-8 terminal, whatever the caller's locale.
bool isPrintable(std::uint32_t codePoint) {
  static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return utf8 != nullptr && iswprint_l(codePoint, utf8) != 0;
}

// Bytes of the UTF-8 sequence that this byte begins; 0 for one that begins none.
std::size_t sequenceLength(unsigned char lead) {
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

// Appends what shows of the multi-byte sequence that the text begins with and tells its bytes;
// 0 when it begins with none.
std::size_t appendSequence(std::string_view text, std::string& shown) {
  constexpr std::array<std::uint32_t, 5> kFirstOfLength = {0, 0, 0x80, 0x800, 0x10000};
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t length = sequenceLength(lead);
  if (length == 0) return 0;
  std::uint32_t codePoint = lead & (0x7FU >> length);
  std::size_t taken = 1;
  for (; taken < std::min(length, text.size()); ++taken) {
    const auto next = static_cast<unsigned char>(text[taken]);
    if ((next & 0xC0U) != 0x80U) break;
    codePoint = codePoint << 6U | (next & 0x3FU);
  }
  const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  if (taken < length || codePoint < kFirstOfLength[length] || surrogate) {
    shown.append(taken, '?');
  } else if (isPrintable(codePoint)) {
    shown.append(text.substr(0, length));
  } else {
    shown.push_back('?');
  }
  return taken;
}

// What would not print shows as "?". Behind a byte that begins no character the process listing
// gives up on UTF-8 and marks control characters with ".".
std::string printable(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), isPlain)) return std::string(text);
  std::string shown;
  char controlMark = '?';
  while (!text.empty()) {
    const char c = text[0];
    const bool ascii = static_cast<unsigned char>(c) < 0x80;
    std::size_t taken = 1;
    if (ascii) {
      shown.push_back(isPlain(c) ? c : controlMark);
    } else if (controlMark == '.' || (taken = appendSequence(text, shown)) == 0) {
      shown.push_back('?');
      controlMark = '.';
      taken = 1;
    }
    text.remove_prefix(taken);
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
  const std::string name = printable(status.substr(open + 1, close - open - 1));
  const bool zombie = status.substr(close).starts_with(") Z");
  return fmt::format("[{}]{}", name, zombie ? " <defunct>" : "");
}

}  // namespace

std::array<std::uint32_t, kZanmlMaxVgpuPids>& vgpuProcessTable() {
  static std::array<std::uint32_t, kZanmlMaxVgpuPids> table{};
  return table;
}

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
  return printable(*commandLine);
}

std::string programName(std::uint32_t pid) {
  const auto commandLine = servesVgpu(pid) ? std::nullopt : readCommandLine(pid);
  if (!commandLine || commandLine->empty()) return processName(pid);
  const std::string_view program(commandLine->c_str());
  return printable(program.substr(program.rfind('/') + 1));
}

}  // namespace zanctl
