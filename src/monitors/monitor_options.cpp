#include "monitors/monitor_options.h"

#include "cli/options.h"
#include "device/time.h"
#include "output/option_text.h"

#include <ostream>

namespace zanctl {
std::optional<std::uint64_t> readDelayOption(const std::string& option, int longest,
                                             std::ostream& out) {
  return given(option) ? readDelay(option, longest, out) : 1;
}

std::optional<std::uint64_t> readCountOption(const std::string& option, std::ostream& out) {
  if (!given(option)) return 0;
  const std::int64_t count = decimalNumber(option);
  if (count >= 1) return static_cast<std::uint64_t>(count);
  out << "Invalid value for number of samples to be displayed.\n";
  refuseValue(out, "-c, --count", option);
  return std::nullopt;
}

std::optional<std::string> readLettersOption(const std::string& option, std::string_view allowed,
                                             std::ostream& out) {
  if (!given(option)) return "";
  if (option.find_first_not_of(allowed) == std::string::npos) return option;
  out << "Error in parsing options\nFailed to process command line\n";
  return std::nullopt;
}

std::string stampHeader(const StampColumns& columns, HeaderLine line) {
  std::string cells = "#";
  const bool names = line == HeaderLine::names;
  if (columns.date) cells += names ? "Date       " : "YYYYMMDD   ";
  if (columns.time) cells += names ? "Time       " : "HH:MM:SS   ";
  return cells;
}

std::string stampCells(const StampColumns& columns, std::time_t time) {
  std::string cells = " ";
  if (columns.date) cells += dateStamp(time) + "   ";
  if (columns.time) cells += timeStamp(time) + "   ";
  return cells;
}

}  // namespace zanctl
