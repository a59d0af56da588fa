#include "topology/link_types.h"

#include <algorithm>

namespace zanctl {

const LinkType* findLinkType(std::optional<nvmlGpuTopologyLevel_t> level) {
  const auto* const type =
      std::find_if(kLinkTypes.begin(), kLinkTypes.end(),
                   [level](const LinkType& candidate) { return candidate.level == level; });
  return type == kLinkTypes.end() ? nullptr : type;
}

const P2pState& findP2pState(std::optional<nvmlGpuP2PStatus_t> status) {
  const auto* const state =
      std::find_if(kP2pStates.begin(), kP2pStates.end() - 1,
                   [status](const P2pState& candidate) { return candidate.status == status; });
  return *state;
}

}  // namespace zanctl
