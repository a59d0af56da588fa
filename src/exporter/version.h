// The version of the programs that stand on the collector.
#pragma once

namespace zanctl::exporter {

inline constexpr const char* kVersion = ZANCTL_VERSION;

}  // namespace zanctl::exporter
