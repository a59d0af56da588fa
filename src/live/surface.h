// The one way to draw: cells with a text and a meaning. The screen has an end of its own; the grid
// keeps the cells, for frames on paper and for tests.
#pragma once

#include "live/style.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl::live {

struct Size {
  int width = 0;  // cells
  int height = 0;
  bool operator==(const Size&) const = default;
};

struct Box {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  [[nodiscard]] bool isEmpty() const { return width <= 0 || height <= 0; }
  [[nodiscard]] int right() const { return x + width; }
  [[nodiscard]] int bottom() const { return y + height; }
  [[nodiscard]] bool contains(int column, int row) const {
    return column >= x && column < right() && row >= y && row < bottom();
  }
};

// What the terminal can show.
enum class Charset { ascii, unicode };

class Surface {
 public:
  virtual ~Surface() = default;

  [[nodiscard]] virtual Size size() const = 0;
  [[nodiscard]] virtual Charset charset() const = 0;
  // Writes clean text, as fitText() gives it, of so many cells. Nothing lies beyond the edges.
  virtual void write(int x, int y, std::string_view text, int cells, Style style) = 0;

  // Writes text of any kind, made clean and cut to what there is room for; returns the cell behind
  // it.
  int put(int x, int y, std::string_view text, Style style = Style::plain);
  // The same within a width, filled up with blanks behind the text, or in front of it.
  void putLeft(int x, int y, int width, std::string_view text, Style style = Style::plain);
  void putRight(int x, int y, int width, std::string_view text, Style style = Style::plain);
};

// Text that no terminal takes for anything but itself, in at most so many cells. Without Unicode
// every other character is a "?".
struct FittedText {
  std::string text;
  int cells = 0;
};
FittedText fitText(std::string_view text, int cells, Charset charset);
// The first character of clean text, which is not empty, with those behind that have no cell of
// their own: its bytes and its cells.
struct CellText {
  std::size_t length = 0;
  int cells = 0;
};
CellText firstCell(std::string_view text);
// The cells that all of the text takes.
int cellsOf(std::string_view text);
// The text in at most so many cells, with a "+" at its end where something is missing.
std::string shortened(std::string_view text, int cells);

class Grid : public Surface {
 public:
  Grid(Size size, Charset charset);

  [[nodiscard]] Size size() const override { return size_; }
  [[nodiscard]] Charset charset() const override { return charset_; }
  void write(int x, int y, std::string_view text, int cells, Style style) override;

  // The rows without blanks at their ends, each with a newline; empty rows at the end are left out.
  [[nodiscard]] std::string text() const;
  [[nodiscard]] Style styleAt(int x, int y) const { return cell(x, y).style; }

 private:
  struct Cell {
    std::string text = " ";  // empty right of a character of two cells
    Style style = Style::plain;
  };
  [[nodiscard]] const Cell& cell(int x, int y) const {
    return cells_[static_cast<std::size_t>(y) * static_cast<std::size_t>(size_.width) +
                  static_cast<std::size_t>(x)];
  }

  Size size_;
  Charset charset_;
  std::vector<Cell> cells_;
};

}  // namespace zanctl::live
