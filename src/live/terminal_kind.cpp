#include "live/terminal_kind.h"

// clang-format off: the second needs the first
#include <curses.h>
#include <term.h>
// clang-format on
#include <unistd.h>

namespace zanctl::live {

bool canPlaceText() {
  int error = 0;
  // newterm() itself would complain on the terminal.
  if (setupterm(nullptr, STDOUT_FILENO, &error) != OK) return false;
  const char* const placing = tigetstr("cup");
  return placing != nullptr && placing[0] != '\0';
}

}  // namespace zanctl::live
