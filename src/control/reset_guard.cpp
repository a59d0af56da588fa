#include "control/reset_guard.h"

#include "device/driver_node.h"

#include <ostream>
#include <string_view>

#include <unistd.h>

namespace zanctl {
namespace {

constexpr int kWaits = 33;
constexpr useconds_t kWaitMicroseconds = 300'000;
constexpr std::string_view kStarRule =
    "***************************************************************************\n";
constexpr std::string_view kAbnormalEnd =
    "If no other terminal executes reset at present, it means that the reset has been terminated "
    "abnormally.\n"
    "To restore the reset exception, you need to re-insmod the driver.\n";

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
  const DriverNode node = findDriverNode();
  if (node == DriverNode::unknown) out << "Cannot open /dev folder! \n";
  const int result = node == DriverNode::present ? 0 : -1;
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
