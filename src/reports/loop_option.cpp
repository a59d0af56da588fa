#include "reports/loop_option.h"

#include "cli/options.h"
#include "output/option_text.h"

#include <ostream>

namespace zanctl {

std::optional<std::uint64_t> readLoopOption(const std::string& option, std::ostream& out) {
  constexpr std::uint64_t kDefaultSeconds = 5;
  if (!given(option)) return 0;
  if (option.empty()) return kDefaultSeconds;
  const std::int64_t seconds = decimalNumber(option);
  if (seconds >= 1) return static_cast<std::uint64_t>(seconds);
  out << "Provided [-l | --loop=] value is incorrect. Loop frequency must be greater than 0.\n";
  refuseValue(out, "-l, --loop", option);
  return std::nullopt;
}

}  // namespace zanctl
