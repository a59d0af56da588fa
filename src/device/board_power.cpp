#include "device/board_power.h"

#include "device/attributes.h"
#include "device/records.h"

namespace zanctl {

std::map<std::uint32_t, std::uint32_t>& boardPowerTable() {
  static std::map<std::uint32_t, std::uint32_t> table;
  return table;
}

std::optional<std::uint32_t> boardPower(std::optional<std::uint32_t> boardId) {
  if (!known(boardId)) return known(attributes::boardPowerUsage());
  auto& table = boardPowerTable();
  if (const auto first = table.find(*boardId); first != table.end()) return first->second;
  const auto power = known(attributes::boardPowerUsage());
  if (power) table[*boardId] = *power;
  return power;
}

std::optional<std::uint32_t> powerOnBoard() {
  const auto boardId = known(attributes::boardId());
  const auto position = boardId ? known(attributes::boardPosition()) : std::nullopt;
  if (!position) return known(attributes::powerUsage());
  // Asked on every position, since the board's first GPU may come behind the others.
  const auto power = boardPower(boardId);
  return position == 0U ? power : std::nullopt;
}

}  // namespace zanctl
