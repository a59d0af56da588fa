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
  std::vector<nvmlDevice_t> handles;  // by GPU index
  std::uint32_t currentDevice = 0;    // index of the GPU that every reader works on
  std::string driverVersion = "N/A";
  std::string libraryVersion = "N/A";
  std::string cudaVersion = "N/A";
};

DeviceSession& session();

// Starts the library and enumerates the GPUs; does nothing while a session is initialised. Failures
// show as state: not initialised, no GPUs, or fewer handles than GPUs. A countOverride other than 0
// is taken for the number of GPUs without asking the library.
void openSession(std::uint32_t countOverride);

// Shuts the library down and forgets the session, its versions included.
void closeSession() noexcept;

// Shuts the library down and forgets the GPUs; where the library refuses, nothing changes.
void shutdownLibrary();

// Cached once known; "N/A" until then, and asked again at the next call.
const std::string& driverVersion();
const std::string& libraryVersion();
const std::string& cudaVersion();  // "<major>.<minor>"

// Why the library could not be loaded, in the loader's words; empty when it was.
const std::string& libraryLoadError();

// Calls an operation whose first argument is a GPU on the current one. A GPU whose handle the
// session does not hold answers NVML_ERROR_INVALID_ARGUMENT.
template <typename... Arguments>
nvmlReturn_t callOnCurrentDevice(
    const Operation<nvmlReturn_t(nvmlDevice_t, Arguments...)>& operation,
    std::type_identity_t<Arguments>... arguments) {
  const DeviceSession& current = session();
  if (current.currentDevice >= current.handles.size()) return NVML_ERROR_INVALID_ARGUMENT;
  return operation(current.handles[current.currentDevice], arguments...);
}

}  // namespace zanctl
