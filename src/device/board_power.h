// The power of boards that hold several GPUs.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

namespace zanctl {

// Power in W by board id, so that a board is asked once. Every pass of an output that shows board
// power empties it first.
std::map<std::uint32_t, std::uint32_t>& boardPowerTable();

// The power of the current GPU's board in W: the figure first read for this board, or where its id
// is unavailable the GPU's own reading of it. Empty, and nothing kept, when it cannot be read.
std::optional<std::uint32_t> boardPower(std::optional<std::uint32_t> boardId);

// What a monitor shows as the current GPU's power in W: its board's on position 0 and nothing on
// the others; its own where board or position is unavailable.
std::optional<std::uint32_t> powerOnBoard();

}  // namespace zanctl
