// The terminal: the screen's end of drawing, the keyboard, and the signals that concern both.
#pragma once

#include "device/descriptor.h"
#include "live/keys.h"
#include "live/settings.h"
#include "live/surface.h"

#include <csignal>
#include <memory>
#include <optional>
#include <string>

namespace zanctl::live {

struct TerminalOptions {
  bool colours = true;
  bool mouse = true;
};

class Terminal : public Surface {
 public:
  // Takes the terminal of the standard streams; `problem` says why where it cannot. It is given
  // back as it was when this object ends.
  static std::unique_ptr<Terminal> open(const TerminalOptions& options, std::string& problem);
  ~Terminal() override;
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  [[nodiscard]] Size size() const override;
  [[nodiscard]] Charset charset() const override;
  void write(int x, int y, std::string_view text, int cells, Style style) override;

  // Around the drawing of a frame. Only what has changed reaches the terminal.
  void begin(Theme theme);
  void show();
  void redraw();

  // Waits for a key, a signal or the descriptor, which may be -1, and for so many ms; -1 for ever.
  // True when the descriptor has something.
  bool wait(int descriptor, int milliseconds);
  // The next key that was pressed, without waiting.
  std::optional<KeyPress> key();
  // Stops the job until the shell goes on with it.
  void suspend();
  // Whether the terminal is gone, or a signal asks for the end.
  [[nodiscard]] bool isOver() const { return over_; }
  // That signal, 0 for none.
  [[nodiscard]] int endSignal() const { return endSignal_; }

 private:
  explicit Terminal(const TerminalOptions& options);
  void useTheme(Theme theme);
  void takeSignals();

  void* screen_ = nullptr;
  Descriptor signals_;
  sigset_t formerMask_{};
  bool colours_ = false;
  bool mouse_ = false;
  std::optional<Theme> theme_;
  bool over_ = false;
  int endSignal_ = 0;
};

// By the locale of the environment, which it sets.
Charset localeCharset();

}  // namespace zanctl::live
