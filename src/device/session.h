// The process's one session with the management library: the GPUs found in it, the GPU that readers
// work on, and the system-wide version strings.
#pragma once

#include "zanml/library.h"

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace zanctl {

struct DeviceSession {
  bool initialised = false;
  // The library's count, at most 4096, else 0. May exceed handles.size(): the GPUs beyond read as
  // failing.
  std::uint32_t deviceCount = 0;
  std::vector<nvmlDevice_t> handles;  // by GPU index; null where there is none
  std::uint32_t currentDevice = 0;    // index of the GPU that every reader works on
  std::string driverVersion = "N/A";
  std::string libraryVersion = "N/A";
  std::string cudaVersion = "N/A";
};

inline DeviceSession& session() {
  static DeviceSession instance;
  return instance;
}

// Starts the library and enumerates the GPUs; does nothing while a session is initialised. Failures
// show as state: not initialised, no GPUs, or fewer handles than GPUs. A countOverride other than 0
// is taken for the number of GPUs without asking the library.
void openSession(std::uint32_t countOverride);

// The way in for whoever meets the GPUs one by one, so that one whose handle is refused hides none
// behind it. Starts the library unless it is started, and counts the GPUs anew; their handles are
// null until they are fetched, and those already held stay. False when the library does not start
// or says no count of at most 4096.
bool countDevices();

// Fetches the current GPU's handle unless it is held. False when the library refuses it.
bool fetchCurrentHandle();

// Shuts the library down and forgets the session, its versions included.
void closeSession() noexcept;

// Shuts the library down and forgets the GPUs; where the library refuses, nothing changes.
void shutdownLibrary();

// Cached once known; "N/A" until then, and asked again at the next call.
const std::string& driverVersion();
const std::string& libraryVersion();
const std::string& cudaVersion();  // "<major>.<minor>"

// Why the library could not be loaded, in the loader's words; empty when it was. Asking anew looks
// for it again where there was none.
enum class LookAgain { no, yes };
const std::string& libraryLoadError(LookAgain lookAgain = LookAgain::no);

// Calls an operation whose first argument is a GPU on the current one. A GPU whose handle the
// session does not hold answers NVML_ERROR_INVALID_ARGUMENT.
template <typename... Arguments>
nvmlReturn_t callOnCurrentDevice(
    const Operation<nvmlReturn_t(nvmlDevice_t, Arguments...)>& operation,
    std::type_identity_t<Arguments>... arguments) {
  const DeviceSession& current = session();
  if (current.currentDevice >= current.handles.size()) return NVML_ERROR_INVALID_ARGUMENT;
  const nvmlDevice_t handle = current.handles[current.currentDevice];
  return handle == nullptr ? NVML_ERROR_INVALID_ARGUMENT : operation(handle, arguments...);
}

}  // namespace zanctl
