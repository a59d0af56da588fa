// Keys and clicks, apart from how a terminal sends them.
#pragma once

#include <cstdint>

namespace zanctl::live {

enum class KeyCode : std::uint8_t {
  none,
  character,
  up,
  down,
  left,
  right,
  pageUp,
  pageDown,
  home,
  end,
  tab,
  backTab,
  enter,
  escape,
  backspace,
  click,
  wheelUp,
  wheelDown,
};

struct KeyPress {
  KeyCode code = KeyCode::none;
  char32_t character = 0;  // of a `character`
  int x = 0;               // of a click, in cells
  int y = 0;
};

inline constexpr char32_t kInterruptKey = 3;  // Ctrl-C
inline constexpr char32_t kRedrawKey = 12;    // Ctrl-L
inline constexpr char32_t kSuspendKey = 26;   // Ctrl-Z

}  // namespace zanctl::live
