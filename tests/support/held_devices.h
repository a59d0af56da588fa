// GPUs without a library behind them, for whoever binds its functions one by one.
#pragma once

#include "device/session.h"

#include <array>
#include <cstdint>

namespace zanctl {

inline constexpr std::uint32_t kMostHeldDevices = 256;

// What a handle points to, by GPU index.
inline std::array<char, kMostHeldDevices> heldDevices;

inline std::uint32_t gpuOf(nvmlDevice_t device) {
  return static_cast<std::uint32_t>(reinterpret_cast<char*>(device) - heldDevices.data());
}

inline nvmlDevice_t handleOf(std::uint32_t gpu) {
  return reinterpret_cast<nvmlDevice_t>(&heldDevices[gpu]);
}

// A session as openSession leaves it.
inline void holdDevices(std::uint32_t count) {
  session() = DeviceSession{};
  session().initialised = true;
  session().deviceCount = count;
  for (std::uint32_t gpu = 0; gpu < count; ++gpu) session().handles.push_back(handleOf(gpu));
}

}  // namespace zanctl
