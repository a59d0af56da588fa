#include "live/surface.h"

#include "device/text.h"

#include <algorithm>

#include <locale.h>
#include <wchar.h>

namespace zanctl::live {
namespace {

// Control characters and what cannot be shown have none.
int widthOf(const Utf8Character& character) {
  if (!character.valid || isBidirectionalOverride(character.codePoint)) return -1;
  if (character.codePoint < 0x80)
    return character.codePoint >= 0x20 && character.codePoint < 0x7F ? 1 : -1;
  // Lines, blocks, dots and braille are most of what is drawn.
  if (character.codePoint == 0xB7) return 1;
  if (character.codePoint >= 0x2500 && character.codePoint < 0x2900) return 1;
  return wcwidth(static_cast<wchar_t>(character.codePoint));
}

bool isAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

bool isPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

}  // namespace

FittedText fitText(std::string_view text, int cells, Charset charset) {
  FittedText fitted;
  if (isPlain(text)) {
    fitted.text = text.substr(0, static_cast<std::size_t>(std::max(cells, 0)));
    fitted.cells = static_cast<int>(fitted.text.size());
    return fitted;
  }
  while (!text.empty()) {
    const Utf8Character character = firstCharacter(text);
    const bool isAscii = character.codePoint < 0x80;
    const int width = charset == Charset::ascii && !isAscii ? -1 : widthOf(character);
    if (fitted.cells + std::max(width, 1) > cells && width != 0) break;
    if (width < 0) {
      fitted.text += '?';
      ++fitted.cells;
    } else if (width > 0 || !fitted.text.empty()) {
      fitted.text += text.substr(0, character.length);
      fitted.cells += width;
    }
    text.remove_prefix(character.length);
  }
  return fitted;
}

CellText firstCell(std::string_view text) {
  if (isAscii(text[0]) && (text.size() == 1 || isAscii(text[1]))) return {1, 1};
  const Utf8Character first = firstCharacter(text);
  CellText cell{first.length, widthOf(first)};
  while (cell.length < text.size() && !isAscii(text[cell.length])) {
    const Utf8Character next = firstCharacter(text.substr(cell.length));
    if (widthOf(next) != 0) break;
    cell.length += next.length;
  }
  return cell;
}

int cellsOf(std::string_view text) {
  if (isPlain(text)) return static_cast<int>(text.size());
  int cells = 0;
  while (!text.empty()) {
    const Utf8Character character = firstCharacter(text);
    const int width = widthOf(character);
    cells += width < 0 ? 1 : width;
    text.remove_prefix(character.length);
  }
  return cells;
}

std::string shortened(std::string_view text, int cells) {
  if (cellsOf(text) <= cells) return std::string(text);
  return fitText(text, std::max(cells - 1, 0), Charset::unicode).text + "+";
}

int Surface::put(int x, int y, std::string_view text, Style style) {
  const Size room = size();
  if (x < 0 || y < 0 || y >= room.height || x >= room.width) return x;
  const FittedText fitted = fitText(text, room.width - x, charset());
  if (fitted.cells > 0) write(x, y, fitted.text, fitted.cells, style);
  return x + fitted.cells;
}

void Surface::putLeft(int x, int y, int width, std::string_view text, Style style) {
  if (width <= 0) return;
  FittedText fitted = fitText(text, width, charset());
  fitted.text.append(static_cast<std::size_t>(width - fitted.cells), ' ');
  put(x, y, fitted.text, style);
}

void Surface::putRight(int x, int y, int width, std::string_view text, Style style) {
  if (width <= 0) return;
  const FittedText fitted = fitText(text, width, charset());
  put(x, y, std::string(static_cast<std::size_t>(width - fitted.cells), ' ') + fitted.text, style);
}

Grid::Grid(Size size, Charset charset)
    : size_(size),
      charset_(charset),
      cells_(static_cast<std::size_t>(std::max(size.width, 0)) *
             static_cast<std::size_t>(std::max(size.height, 0))) {}

void Grid::write(int x, int y, std::string_view text, int /*cells*/, Style style) {
  auto at = cells_.begin() + std::ptrdiff_t{y} * size_.width + x;
  while (!text.empty()) {
    const CellText first = firstCell(text);
    *at++ = {std::string(text.substr(0, first.length)), style};
    if (first.cells == 2) *at++ = {"", style};
    text.remove_prefix(first.length);
  }
}

std::string Grid::text() const {
  std::string text;
  std::size_t end = 0;  // of the last row that holds something
  for (int y = 0; y < size_.height; ++y) {
    const std::size_t begin = text.size();
    for (int x = 0; x < size_.width; ++x) text += cell(x, y).text;
    text.erase(std::max(text.find_last_not_of(' ') + 1, begin));
    const bool isEmpty = text.size() == begin;
    text += '\n';
    if (!isEmpty) end = text.size();
  }
  text.resize(end);
  return text;
}

}  // namespace zanctl::live
