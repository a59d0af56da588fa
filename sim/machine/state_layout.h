// The state that the processes of one simulated machine share, as it stands in the file that they
// all map. Everything in it is changed by single atomic operations, so no process can leave it
// half changed. The preload library maps it as well and is no C++ program of its own: nothing here
// may need more than the headers.
#pragma once

#include <atomic>
#include <cstdint>

namespace zansim {

constexpr std::uint64_t kStateMagic = 0x3130455441545a53;  // "SZTATE01"
constexpr unsigned kStateGpus = 1024;
constexpr char kStateFileName[] = "machine";
constexpr char kStateDraftName[] = "machine.new";
constexpr char kSettingsFileName[] = "settings";

struct GpuState {
  std::atomic<std::int32_t> resetStatus;
  std::atomic<std::uint32_t> resets;
  // Bit 32 is set once somebody has set a mask; until then that of the description holds.
  std::atomic<std::uint64_t> ceMask;
};

struct MachineState {
  std::uint64_t magic;
  // Nanoseconds since the epoch at which the machine started, on the machine's own clock.
  std::atomic<std::int64_t> origin;
  // Nanoseconds since the epoch; the clock of the runs that asked for a virtual one.
  std::atomic<std::int64_t> virtualNow;
  std::atomic<std::uint64_t> resetCount;
  GpuState gpus[kStateGpus];
};

constexpr std::uint64_t kCeMaskIsSet = 1ULL << 32U;

static_assert(std::atomic<std::int64_t>::is_always_lock_free);
static_assert(std::atomic<std::int32_t>::is_always_lock_free);

}  // namespace zansim
