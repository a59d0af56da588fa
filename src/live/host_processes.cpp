#include "live/host_processes.h"

#include "device/process.h"
#include "device/text.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zanctl::live {
namespace {

struct Status {
  std::uint64_t cpuTicks = 0;
  std::uint64_t startTicks = 0;
  std::uint64_t pages = 0;
};

// The fields behind the name, counted from the state, which is the third of the line.
constexpr std::size_t kUserTicks = 14 - 3;
constexpr std::size_t kSystemTicks = 15 - 3;
constexpr std::size_t kStartTicks = 22 - 3;
constexpr std::size_t kPages = 24 - 3;

std::optional<Status> parseStatus(std::string_view line) {
  const std::size_t close = line.rfind(')');
  if (close == std::string_view::npos) return std::nullopt;
  line.remove_prefix(std::min(close + 2, line.size()));
  std::array<std::uint64_t, kPages + 1> fields{};
  for (std::uint64_t& field : fields) {
    const std::string_view word = line.substr(0, line.find(' '));
    std::from_chars(word.data(), word.data() + word.size(), field);
    line.remove_prefix(std::min(word.size() + 1, line.size()));
  }
  if (line.empty()) return std::nullopt;
  return Status{fields[kUserTicks] + fields[kSystemTicks], fields[kStartTicks], fields[kPages]};
}

std::optional<Status> readStatus(std::uint32_t pid, uid_t* owner) {
  const Descriptor file(open(fmt::format("/proc/{}/stat", pid).c_str(), O_RDONLY | O_CLOEXEC));
  struct stat facts {};
  if (!file.isOpen() || fstat(file.number(), &facts) != 0) return std::nullopt;
  if (owner != nullptr) *owner = facts.st_uid;
  std::array<char, 1024> text{};
  const ssize_t got = read(file.number(), text.data(), text.size());
  if (got <= 0) return std::nullopt;
  return parseStatus({text.data(), static_cast<std::size_t>(got)});
}

double ticksPerSecond() {
  static const auto ticks = static_cast<double>(sysconf(_SC_CLK_TCK));
  return ticks;
}

double secondsSinceBoot() {
  std::array<char, 64> text{};
  const Descriptor file(open("/proc/uptime", O_RDONLY | O_CLOEXEC));
  if (!file.isOpen() || read(file.number(), text.data(), text.size() - 1) <= 0) return 0;
  return std::strtod(text.data(), nullptr);
}

}  // namespace

const HostFacts* ProcFiles::look(std::uint32_t pid) {
  Known& known = known_[pid];
  if (known.round != round_) read(pid, known);
  return known.exists ? &known.facts : nullptr;
}

void ProcFiles::nextRound() {
  std::erase_if(known_, [this](const auto& entry) { return entry.second.round != round_; });
  ++round_;
  now_ = secondsSinceBoot();
}

void ProcFiles::read(std::uint32_t pid, Known& known) {
  known.round = round_;
  uid_t owner = 0;
  const auto status = readStatus(pid, &owner);
  const double now = now_;
  const bool isSame = status && known.exists && known.facts.startTicks == status->startTicks;
  known.exists = status.has_value();
  if (!status) return;
  HostFacts& facts = known.facts;
  const double startedAt = static_cast<double>(status->startTicks) / ticksPerSecond();
  const double span = isSame ? now - known.lookedAt : now - startedAt;
  const std::uint64_t ticks = isSame ? status->cpuTicks - known.cpuTicks : status->cpuTicks;
  facts.cpuPercent = span > 0 ? 100 * static_cast<double>(ticks) / ticksPerSecond() / span : 0;
  facts.startTicks = status->startTicks;
  facts.memory = status->pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  facts.seconds = now > startedAt ? static_cast<std::uint64_t>(now - startedAt) : 0;
  facts.user = userName(owner);
  // A process changes its command line when it becomes another program, which is soon or never, and
  // when it has ended and nobody has asked how: it has no memory then.
  if (!isSame || facts.seconds < 5 || status->pages == 0) facts.command = processName(pid);
  known.cpuTicks = status->cpuTicks;
  known.lookedAt = now;
}

const std::string& ProcFiles::userName(uid_t uid) {
  const auto [entry, isNew] = users_.try_emplace(uid);
  if (isNew) {
    const passwd* user = getpwuid(uid);
    entry->second = user != nullptr ? cleanText(user->pw_name) : fmt::to_string(uid);
  }
  return entry->second;
}

std::optional<std::uint64_t> startTicksOf(std::uint32_t pid) {
  const auto status = readStatus(pid, nullptr);
  return status ? std::optional(status->startTicks) : std::nullopt;
}

std::string signalProcess(std::uint32_t pid, std::uint64_t startTicks, int signal) {
  // What the descriptor stands for stays the same process, so the check holds for the signal.
  const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0U)));
  if (!process.isOpen()) {
    return errno == ESRCH ? fmt::format("process {} has ended", pid)
                          : fmt::format("process {}: {}", pid, std::strerror(errno));
  }
  const auto started = startTicksOf(pid);
  if (!started) return fmt::format("process {} has ended", pid);
  if (*started != startTicks) return fmt::format("{} is another process by now", pid);
  if (syscall(SYS_pidfd_send_signal, process.number(), signal, nullptr, 0U) == 0) return {};
  if (errno == ESRCH) return fmt::format("process {} has ended", pid);
  if (errno == EPERM) {
    return fmt::format("process {} belongs to another user: not permitted", pid);
  }
  return fmt::format("process {}: {}", pid, std::strerror(errno));
}

}  // namespace zanctl::live
