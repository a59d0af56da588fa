#include "control/reset_guard.h"

#include <cstdlib>
#include <memory>
#include <ostream>
#include <string_view>

#include <dirent.h>
#include <unistd.h>

namespace zanctl {
namespace {

constexpr const char* kDeviceNodes = "/dev";
constexpr std::string_view kNodePrefix = "zanthe";
constexpr int kWaits = 33;
constexpr useconds_t kWaitMicroseconds = 300'000;
constexpr std::string_view kStarRule =
    "***************************************************************************\n";
constexpr std::string_view kAbnormalEnd =
    "If no other terminal executes reset at present, it means that the reset has been terminated "
    "abnormally.\n"
    "To restore the reset exception, you need to re-insmod the driver.\n";

// "zanthe" followed by a decimal number.
bool isDriverNode(std::string_view name) {
  if (!name.starts_with(kNodePrefix)) return false;
  const char* number = name.data() + kNodePrefix.size();
  char* end = nullptr;
  std::strtol(number, &end, 10);
  return end != number;
}

bool hasDriverNode(std::ostream& out) {
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(kDeviceNodes), closedir);
  if (directory == nullptr) {
    out << "Cannot open /dev folder! \n";
    return false;
  }
  while (const dirent* entry = readdir(directory.get())) {
    if (isDriverNode(entry->d_name)) return true;
  }
  return false;
}

}  // namespace

bool refusesConcurrentReset(std::span<const char* const> argv, std::int32_t resetStatus,
                            std::ostream& out) {
  if (argv.size() != 2 || resetStatus != 1) return false;
  const std::string_view argument = argv[1];
  if (argument != "-r" && argument != "--reset") return false;
  out << kStarRule
      << "The reset command cannot be executed at the same time, Please try again later.\n"
      << kAbnormalEnd << kStarRule;
  return true;
}

int waitWhileResetting(std::int32_t resetStatus, std::ostream& out) {
  const int result = hasDriverNode(out) ? 0 : -1;
  if (resetStatus != 1) return result;
  out << kStarRule
      << "Currently in the state of executing reset card, the output will be delayed.\n"
         "If other terminals are executing reset, zanctl will output normally after the reset "
         "ends.\n"
      << kAbnormalEnd << kStarRule << std::flush;
  for (int wait = 0; wait < kWaits; ++wait) usleep(kWaitMicroseconds);
  return result;
}

}  // namespace zanctl
