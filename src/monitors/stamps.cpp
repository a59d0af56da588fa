#include "monitors/stamps.h"

#include "device/time.h"
#include "request/options.h"

#include <ostream>

namespace zanctl {

std::optional<std::string> readLetters(const std::string& option, std::string_view allowed,
                                       std::ostream& out) {
  if (!given(option)) return "";
  if (option.find_first_not_of(allowed) == std::string::npos) return option;
  out << "Error in parsing options\nFailed to process command line\n";
  return std::nullopt;
}

StampColumns stampColumns(std::string_view letters) {
  return {.date = letters.find('D') != std::string_view::npos,
          .time = letters.find('T') != std::string_view::npos};
}

std::string stampHeader(const StampColumns& columns, HeaderLine line) {
  const bool names = line == HeaderLine::names;
  std::string cells = "#";
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
