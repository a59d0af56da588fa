#include "live/help.h"

#include <algorithm>
#include <array>

namespace zanctl::live {
namespace {

constexpr std::array kHelp = std::to_array<KeyHelp>({
    {"Up Down k j", "choose a GPU or a process; on a GPU's screen, where not all fit, its values"},
    {"PgUp PgDn", "a screenful on"},
    {"Home End g G", "the first, the last"},
    {"Left Right h l", "along the commands; on a GPU's screen the GPU before and after"},
    {"Tab", "between the GPUs and the processes"},
    {"Enter", "the chosen GPU over the whole screen, and back"},
    {"Esc", "back; on the first screen, without a filter"},
    {"< >", "sort by the column before, behind"},
    {"r", "sort the other way round"},
    {"/", "show the processes that hold a text"},
    {"f", "show the processes of the chosen GPU alone"},
    {"m M", "mark the process; take all marks away"},
    {"s", "send the process a signal, after asking"},
    {"Space", "pause, and go on"},
    {"+ -", "a longer, a shorter interval"},
    {"u", "new values at once"},
    {"v", "graphs of braille dots, of blocks, of plain characters"},
    {"T", "colours for a dark or a light background"},
    {"x X", "hide the column sorted by; show all columns"},
    {"Ctrl-L", "draw the screen anew"},
    {"Ctrl-Z", "back to the shell; fg comes back"},
    {"?", "this help"},
    {"q", "quit"},
    {"", ""},
    {"H", "mark of a GPU: hot, near or above the slowdown threshold"},
    {"T", "throttled"},
    {"R", "retired memory pages"},
    {"E", "ECC changes with the next reset"},
    {"L", "PCIe link narrower than it can be"},
});

constexpr std::array kLogHelp = std::to_array<KeyHelp>({
    {"Left Right h l", "the sample before, behind"},
    {"Up Down k j", "a minute back, on"},
    {"PgUp PgDn", "an hour back, on"},
    {"Home End g G", "the first sample; the last, where a file that is still written is followed"},
    {"t", "to a time"},
    {"n", "to the next moment where a value leaves its usual band"},
    {"Tab", "the next GPU; Shift-Tab the one before"},
    {"v", "graphs of braille dots, of blocks, of plain characters"},
    {"T", "colours for a dark or a light background"},
    {"Ctrl-L", "draw the screen anew"},
    {"Ctrl-Z", "back to the shell; fg comes back"},
    {"?", "this help"},
    {"q", "quit"},
});

constexpr int kTextAt = 17;
constexpr int kTitleRows = 2;
constexpr int kFootRows = 1;

// As many whole words of the text as have room, at least one.
std::string_view firstWords(std::string_view text, std::size_t room) {
  if (text.size() <= room) return text;
  const std::size_t blank = text.rfind(' ', room);
  return text.substr(0, blank == std::string_view::npos ? text.find(' ') : blank);
}

}  // namespace

std::span<const KeyHelp> keyHelp() { return kHelp; }
std::span<const KeyHelp> logKeyHelp() { return kLogHelp; }

std::vector<KeyHelp> wrappedHelp(std::span<const KeyHelp> help, int width) {
  const auto room = static_cast<std::size_t>(std::max(width - kTextAt, 1));
  std::vector<KeyHelp> lines;
  for (auto [keys, text] : help) {
    do {
      const std::string_view words = firstWords(text, room);
      lines.push_back({keys, words});
      text.remove_prefix(std::min(words.size() + 1, text.size()));
      keys = {};
    } while (!text.empty());
  }
  return lines;
}

int lastHelpTop(std::span<const KeyHelp> help, Size size) {
  const auto lines = static_cast<int>(wrappedHelp(help, size.width).size());
  return std::max(lines - (size.height - kTitleRows - kFootRows), 0);
}

void drawHelp(Surface& surface, std::string_view title, std::span<const KeyHelp> help, int top) {
  const Size size = surface.size();
  const auto lines = wrappedHelp(help, size.width);
  const int last = lastHelpTop(help, size);
  surface.put(0, 0, title, Style::heading);
  int y = kTitleRows;
  for (auto at = static_cast<std::size_t>(std::clamp(top, 0, last));
       at < lines.size() && y < size.height - kFootRows; ++at) {
    surface.put(1, y, lines[at].keys, Style::value);
    surface.put(kTextAt, y++, lines[at].help);
  }
  surface.putLeft(0, size.height - 1, size.width,
                  last > 0 ? "Up and Down for more, Esc back" : "Esc back", Style::note);
}

}  // namespace zanctl::live
