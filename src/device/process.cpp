#include "device/process.h"

#include <fmt/format.h>

#include <algorithm>
#include <cwchar>
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

// Characters are judged as in a UTF-8 terminal, whatever the caller's locale.
class Utf8Locale {
 public:
  Utf8Locale() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)), previous_(nullptr) {
    if (locale_ != nullptr) previous_ = uselocale(locale_);
  }
  ~Utf8Locale() {
    if (locale_ == nullptr) return;
    uselocale(previous_);
    freelocale(locale_);
  }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  locale_t locale_;
  locale_t previous_;
};

// How many bytes of the text's first character are to be copied; 0 when it does not print, and
// then `length` tells how many bytes it takes.
bool firstCharacterPrints(std::string_view text, std::size_t& length) {
  std::mbstate_t state{};
  wchar_t character = 0;
  const std::size_t got = std::mbrtowc(&character, text.data(), text.size(), &state);
  const bool valid = got != 0 && got <= text.size();
  length = valid ? got : 1;
  return valid && iswprint(static_cast<wint_t>(character)) != 0;
}

std::string printable(std::string_view text) {
  const bool plain =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
  if (plain) return std::string(text);
  const Utf8Locale utf8;
  std::string shown;
  while (!text.empty()) {
    std::size_t length = 1;
    if (firstCharacterPrints(text, length)) {
      shown.append(text.substr(0, length));
    } else {
      shown.push_back('?');
    }
    text.remove_prefix(length);
  }
  return shown;
}

// "[name]" from a line of the form "pid (name) state ...", with the mark of a zombie.
std::string bracketedName(std::string_view status) {
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
  const auto& vgpuPids = vgpuProcessTable();
  if (pid != 0 && std::find(vgpuPids.begin(), vgpuPids.end(), pid) != vgpuPids.end()) {
    return "vgpu";
  }
  const auto path = [pid](const char* file) {
    return fmt::format("{}/{}/{}", kProcessFiles, pid, file);
  };
  auto commandLine = readFile(path("cmdline"), kMaxCommandLine);
  if (!commandLine) return {};
  if (commandLine->empty()) return bracketedName(readFile(path("stat"), 4096).value_or(""));
  commandLine->erase(commandLine->find_last_not_of('\0') + 1);
  if (commandLine->empty()) return "?";
  std::replace(commandLine->begin(), commandLine->end(), '\0', ' ');
  return printable(*commandLine);
}

}  // namespace zanctl
