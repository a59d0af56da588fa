// What the scrolling monitors have in common: the letters of -o, the stamps of their lines, when a
// header is due and how far apart lines and cells stand.
#pragma once

#include <cstdint>
#include <ctime>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace zanctl {

// The letters of an -o option that was given, each one of `allowed`; empty, after saying so, when
// one is not.
std::optional<std::string> readLetters(const std::string& option, std::string_view allowed,
                                       std::ostream& out);

struct StampColumns {
  bool date = false;
  bool time = false;
};

// Those that the letters D and T ask for.
StampColumns stampColumns(std::string_view letters);

// Header cells of the stamps: of the first header line, or of the second.
enum class HeaderLine { names, units };
std::string stampHeader(const StampColumns& columns, HeaderLine line);

// The cells that a line of this time begins with, its leading blank included.
std::string stampCells(const StampColumns& columns, std::time_t time);

// The header stands before the first pass and every 40th after it.
inline constexpr std::uint64_t kHeaderInterval = 40;

inline constexpr std::uint64_t kDefaultDelay = 1;  // seconds
inline constexpr std::size_t kCellWidth = 6;

}  // namespace zanctl
