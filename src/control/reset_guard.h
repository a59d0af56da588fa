// What stands before every run: is the driver there, and is a reset in progress?
#pragma once

#include <cstdint>
#include <iosfwd>
#include <span>

namespace zanctl {

// Whether the command line asks for nothing but a reset while one is in progress; then says so.
bool refusesConcurrentReset(std::span<const char* const> argv, std::int32_t resetStatus,
                            std::ostream& out);

// 0 to go on, -1 without a driver node. With a reset in progress it first says so and waits about
// ten seconds.
[[nodiscard]] int waitWhileResetting(std::int32_t resetStatus, std::ostream& out);

}  // namespace zanctl
