#include "output/joined.h"

#include <array>

namespace zanctl {

void writeJoined(std::ostream& out, std::initializer_list<std::string_view> pieces) {
  std::array<char, 256> line;
  std::size_t used = 0;
  const auto flush = [&] {
    out.write(line.data(), static_cast<std::streamsize>(used));
    used = 0;
  };
  for (const std::string_view piece : pieces) {
    if (piece.size() > line.size() - used) flush();
    if (piece.size() > line.size()) {
      out.write(piece.data(), static_cast<std::streamsize>(piece.size()));
      continue;
    }
    used += piece.copy(line.data() + used, piece.size());
  }
  flush();
}

}  // namespace zanctl
