// Lines made of plain pieces of text, where a format string would cost more than the line.
#pragma once

#include <array>
#include <ostream>
#include <string_view>

namespace zanctl {

inline constexpr std::size_t kJoinedRoom = 512;

// The text of a piece, whose length is known early where it is a literal.
inline std::string_view pieceText(std::string_view piece) { return piece; }
template <std::size_t size>
std::string_view pieceText(const char (&piece)[size]) {
  return {piece, size - 1};
}

// Writes texts one behind the other, in one go where they are of a usual length.
template <typename... Pieces>
void writeJoined(std::ostream& out, const Pieces&... pieces) {
  if ((pieceText(pieces).size() + ...) > kJoinedRoom) {
    (out << ... << pieceText(pieces));
    return;
  }
  std::array<char, kJoinedRoom> line;
  char* end = line.data();
  const auto append = [&end](std::string_view piece) { end += piece.copy(end, piece.size()); };
  (append(pieceText(pieces)), ...);
  out.write(line.data(), end - line.data());
}

}  // namespace zanctl
