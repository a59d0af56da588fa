#include "live/terminal.h"

#include "device/text.h"
#include "live/terminal_kind.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <vector>

#define NCURSES_NOMACROS 1
#include <curses.h>
#include <langinfo.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace zanctl::live {
namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGWINCH, SIGTSTP};

sigset_t handledSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : kSignals) sigaddset(&set, signal);
  return set;
}

constexpr short kDefault = -1;

// A style's colours by how many the terminal has, and what marks it without any.
struct Look {
  short of256;
  short of16;
  attr_t attributes;
};
using Looks = std::array<Look, kStyles>;

// In the order of the styles.
constexpr Looks kDark = {{
    {kDefault, kDefault, A_NORMAL},
    {245, kDefault, A_NORMAL},
    {117, COLOR_CYAN, A_BOLD},
    {kDefault, kDefault, A_BOLD},
    {114, COLOR_GREEN, A_NORMAL},
    {221, COLOR_YELLOW, A_BOLD},
    {210, COLOR_RED, A_BOLD},
    {114, COLOR_GREEN, A_NORMAL},
    {110, COLOR_CYAN, A_NORMAL},
    {kDefault, kDefault, A_REVERSE},
    {221, COLOR_YELLOW, A_BOLD},
    {250, kDefault, A_NORMAL},
}};
constexpr Looks kLight = {{
    {kDefault, kDefault, A_NORMAL},
    {241, kDefault, A_NORMAL},
    {25, COLOR_BLUE, A_BOLD},
    {kDefault, kDefault, A_BOLD},
    {28, COLOR_GREEN, A_NORMAL},
    {130, COLOR_MAGENTA, A_BOLD},
    {160, COLOR_RED, A_BOLD},
    {28, COLOR_GREEN, A_NORMAL},
    {25, COLOR_BLUE, A_NORMAL},
    {kDefault, kDefault, A_REVERSE},
    {130, COLOR_MAGENTA, A_BOLD},
    {238, kDefault, A_NORMAL},
}};

const Look& lookOf(Theme theme, Style style) {
  return (theme == Theme::dark ? kDark : kLight)[static_cast<std::size_t>(style)];
}

struct KnownKey {
  int curses;
  KeyCode code;
};
constexpr std::array kKeys = std::to_array<KnownKey>({
    {KEY_UP, KeyCode::up},
    {KEY_DOWN, KeyCode::down},
    {KEY_LEFT, KeyCode::left},
    {KEY_RIGHT, KeyCode::right},
    {KEY_PPAGE, KeyCode::pageUp},
    {KEY_NPAGE, KeyCode::pageDown},
    {KEY_HOME, KeyCode::home},
    {KEY_END, KeyCode::end},
    {KEY_BTAB, KeyCode::backTab},
    {KEY_ENTER, KeyCode::enter},
    {KEY_BACKSPACE, KeyCode::backspace},
    {'\t', KeyCode::tab},
    {'\r', KeyCode::enter},
    {'\n', KeyCode::enter},
    {27, KeyCode::escape},
    {8, KeyCode::backspace},
    {127, KeyCode::backspace},
});

KeyCode codeOf(int curses) {
  const auto* known = std::find_if(kKeys.begin(), kKeys.end(),
                                   [curses](const KnownKey& key) { return key.curses == curses; });
  return known == kKeys.end() ? KeyCode::none : known->code;
}

KeyPress mousePress() {
  MEVENT event{};
  if (getmouse(&event) != OK) return {};
  KeyPress press;
  press.x = event.x;
  press.y = event.y;
  if ((event.bstate & BUTTON1_PRESSED) != 0) press.code = KeyCode::click;
  if ((event.bstate & BUTTON4_PRESSED) != 0) press.code = KeyCode::wheelUp;
  if ((event.bstate & BUTTON5_PRESSED) != 0) press.code = KeyCode::wheelDown;
  return press;
}

}  // namespace

Charset localeCharset() {
  std::setlocale(LC_CTYPE, "");
  return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0 ? Charset::unicode : Charset::ascii;
}

std::unique_ptr<Terminal> Terminal::open(const TerminalOptions& options, std::string& problem) {
  if (isatty(STDOUT_FILENO) == 0 || isatty(STDIN_FILENO) == 0) {
    problem = "standard input and output are no terminal; --batch prints plain frames";
    return nullptr;
  }
  const char* const name = std::getenv("TERM");
  if (!canPlaceText()) {
    problem = fmt::format("the terminal \"{}\" is unknown or cannot place text; see --batch",
                          name == nullptr ? "" : name);
    return nullptr;
  }
  std::unique_ptr<Terminal> terminal(new Terminal(options));
  if (terminal->screen_ == nullptr) {
    problem = "the terminal cannot be opened; --batch prints plain frames";
    return nullptr;
  }
  return terminal;
}

Terminal::Terminal(const TerminalOptions& options) {
  localeCharset();
  const sigset_t handled = handledSignals();
  sigprocmask(SIG_BLOCK, &handled, &formerMask_);
  signals_ = Descriptor(signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK));
  constexpr int kEscapeDelay = 25;  // ms
  set_escdelay(kEscapeDelay);
  screen_ = newterm(nullptr, stdout, stdin);
  if (screen_ == nullptr) return;
  raw();
  noecho();
  nonl();
  keypad(stdscr, TRUE);
  nodelay(stdscr, TRUE);
  curs_set(0);
  colours_ = options.colours && has_colors();
  if (colours_) {
    start_color();
    use_default_colors();
  }
  mouse_ = options.mouse;
  if (mouse_) {
    mouseinterval(0);
    mousemask(BUTTON1_PRESSED | BUTTON4_PRESSED | BUTTON5_PRESSED, nullptr);
  }
}

Terminal::~Terminal() {
  if (screen_ != nullptr) {
    if (mouse_) mousemask(0, nullptr);
    endwin();
    delscreen(static_cast<SCREEN*>(screen_));
  }
  sigprocmask(SIG_SETMASK, &formerMask_, nullptr);
}

Size Terminal::size() const { return {getmaxx(stdscr), getmaxy(stdscr)}; }

Charset Terminal::charset() const {
  static const bool unicode = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
  return unicode ? Charset::unicode : Charset::ascii;
}

void Terminal::useTheme(Theme theme) {
  if (theme_ == theme) return;
  theme_ = theme;
  if (!colours_) return;
  for (std::size_t i = 0; i < kStyles; ++i) {
    const Look& look = lookOf(theme, static_cast<Style>(i));
    init_pair(static_cast<short>(i + 1), COLORS >= 256 ? look.of256 : look.of16, kDefault);
  }
}

// As cells, which spares curses to make characters of bytes, and bytes of them again.
void Terminal::write(int x, int y, std::string_view text, int /*cells*/, Style style) {
  const Look& look = lookOf(theme_.value_or(Theme::dark), style);
  const auto pair = static_cast<short>(colours_ ? static_cast<int>(style) + 1 : 0);
  std::vector<cchar_t> line;
  line.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = firstCell(text).length;
    std::array<wchar_t, CCHARW_MAX + 1> characters{};
    std::size_t count = 0;
    if (length == 1) characters[count++] = static_cast<unsigned char>(text[0]);
    for (std::string_view rest = text.substr(count, length - count);
         !rest.empty() && count < CCHARW_MAX;) {
      const Utf8Character character = firstCharacter(rest);
      characters[count++] = static_cast<wchar_t>(character.codePoint);
      rest.remove_prefix(character.length);
    }
    setcchar(&line.emplace_back(), characters.data(), look.attributes, pair, nullptr);
    text.remove_prefix(length);
  }
  mvadd_wchnstr(y, x, line.data(), static_cast<int>(line.size()));
}

void Terminal::begin(Theme theme) {
  useTheme(theme);
  attrset(A_NORMAL);
  erase();
}

void Terminal::show() { refresh(); }

void Terminal::redraw() { clearok(curscr, TRUE); }

bool Terminal::wait(int descriptor, int milliseconds) {
  std::array<pollfd, 3> waited = {
      {{STDIN_FILENO, POLLIN, 0}, {signals_.number(), POLLIN, 0}, {descriptor, POLLIN, 0}}};
  if (poll(waited.data(), waited.size(), milliseconds) <= 0) return false;
  if ((waited[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) over_ = true;
  if (waited[1].revents != 0) takeSignals();
  return waited[2].revents != 0;
}

void Terminal::takeSignals() {
  signalfd_siginfo info{};
  bool stops = false;
  while (read(signals_.number(), &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
    const int signal = static_cast<int>(info.ssi_signo);
    if (signal == SIGWINCH) {
      winsize size{};
      if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0) {
        resizeterm(size.ws_row, size.ws_col);
      }
    } else if (signal == SIGTSTP) {
      stops = true;
    } else {
      over_ = true;
      endSignal_ = signal;
    }
  }
  if (stops) suspend();
}

std::optional<KeyPress> Terminal::key() {
  for (;;) {
    const int read = getch();
    if (read == ERR) return std::nullopt;
    if (read >= 0 && read <= 255 && codeOf(read) == KeyCode::none) {
      return KeyPress{KeyCode::character, static_cast<char32_t>(read), 0, 0};
    }
    const KeyPress press = read == KEY_MOUSE ? mousePress() : KeyPress{codeOf(read), 0, 0, 0};
    // What no command knows, and what the terminal says of its size, is nobody's answer.
    if (press.code != KeyCode::none) return press;
  }
}

// The launcher that this program may run under stops with it, so the shell sees the job stop.
void Terminal::suspend() {
  endwin();
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTSTP);
  std::signal(SIGTSTP, SIG_DFL);
  kill(0, SIGTSTP);
  sigprocmask(SIG_UNBLOCK, &stop, nullptr);
  sigprocmask(SIG_BLOCK, &stop, nullptr);
  redraw();
  refresh();
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0) {
    resizeterm(size.ws_row, size.ws_col);
  }
}

}  // namespace zanctl::live
