// The version of the programs.
#pragma once

namespace zanctl {

inline constexpr const char* kVersion = ZANCTL_VERSION;

}  // namespace zanctl
