// The options that the scrolling monitors share, and their refusals.
#pragma once

#include <cstdint>
#include <ctime>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace zanctl {

// The delay in seconds, 1 when the option was not given. Empty, after saying so, when it does not
// lie between 1 and `longest`.
std::optional<std::uint64_t> readDelayOption(const std::string& option, int longest,
                                             std::ostream& out);

// The number of passes, 0 (endless) when the option was not given. Empty, after saying so, when it
// is below 1.
std::optional<std::uint64_t> readCountOption(const std::string& option, std::ostream& out);

// The letters of an option that was given, each one of `allowed`; empty, after saying so, when one
// is not.
std::optional<std::string> readLettersOption(const std::string& option, std::string_view allowed,
                                             std::ostream& out);

// Where the scrolling monitors stamp their lines.
struct StampColumns {
  bool date = false;
  bool time = false;
};

// Header cells of the stamps: of the first header line, or of the second.
enum class HeaderLine { names, units };
std::string stampHeader(const StampColumns& columns, HeaderLine line);

// The cells that a line of this time begins with, its leading blank included.
std::string stampCells(const StampColumns& columns, std::time_t time);

// The header stands before the first pass and every 40th after it.
inline constexpr std::uint64_t kHeaderInterval = 40;

}  // namespace zanctl
