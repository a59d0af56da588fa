#include "device/session.h"

#include "device/text.h"

#include <fmt/format.h>

#include <array>

#include <string.h>

namespace zanctl {
namespace {

constexpr unsigned int kVersionSize = 80;

// A library that counts more is out of its mind; its GPUs would fill the disk with marks.
constexpr std::uint32_t kMostDevices = 4096;

void fetchVersion(std::string& cache,
                  const Operation<nvmlReturn_t(char*, unsigned int)>& operation) {
  if (cache != "N/A") return;
  std::array<char, kVersionSize> text{};
  if (operation(text.data(), kVersionSize) != NVML_SUCCESS) return;
  cache = cleanText({text.data(), strnlen(text.data(), text.size())});
}

void enumerateDevices(DeviceSession& opened, std::uint32_t countOverride) {
  if (library().nvmlInit() != NVML_SUCCESS) return;
  opened.initialised = true;
  if (countOverride != 0) {
    opened.deviceCount = countOverride;
  } else if (library().nvmlDeviceGetCount_v2(&opened.deviceCount) != NVML_SUCCESS ||
             opened.deviceCount > kMostDevices) {
    opened.deviceCount = 0;
    return;
  }
  for (std::uint32_t index = 0; index < opened.deviceCount; ++index) {
    nvmlDevice_t handle = nullptr;
    if (library().nvmlDeviceGetHandleByIndex_v2(index, &handle) != NVML_SUCCESS) return;
    opened.handles.push_back(handle);
  }
  opened.currentDevice = 0;
}

}  // namespace

void openSession(std::uint32_t countOverride) {
  if (session().initialised) return;
  session() = DeviceSession{};
  enumerateDevices(session(), countOverride);
}

bool countDevices() {
  DeviceSession& current = session();
  if (!current.initialised) {
    current = DeviceSession{};
    current.initialised = library().nvmlInit() == NVML_SUCCESS;
  }
  std::uint32_t count = 0;
  if (!current.initialised || library().nvmlDeviceGetCount_v2(&count) != NVML_SUCCESS ||
      count > kMostDevices) {
    return false;
  }
  current.deviceCount = count;
  current.handles.resize(count, nullptr);
  return true;
}

bool fetchCurrentHandle() {
  const std::uint32_t index = session().currentDevice;
  if (index >= session().handles.size()) return false;
  nvmlDevice_t& handle = session().handles[index];
  if (handle == nullptr &&
      library().nvmlDeviceGetHandleByIndex_v2(index, &handle) != NVML_SUCCESS) {
    handle = nullptr;
  }
  return handle != nullptr;
}

void closeSession() noexcept {
  if (session().initialised) shutdownLibrary();
  session() = DeviceSession{};
}

void shutdownLibrary() {
  if (library().nvmlShutdown() != NVML_SUCCESS) return;
  session().initialised = false;
  session().deviceCount = 0;
  session().handles.clear();
}

const std::string& driverVersion() {
  fetchVersion(session().driverVersion, library().nvmlSystemGetDriverVersion);
  return session().driverVersion;
}

const std::string& libraryVersion() {
  fetchVersion(session().libraryVersion, library().nvmlSystemGetNVMLVersion);
  return session().libraryVersion;
}

const std::string& cudaVersion() {
  std::string& cache = session().cudaVersion;
  int version = 0;
  if (cache == "N/A" && library().nvmlSystemGetCudaDriverVersion_v2(&version) == NVML_SUCCESS) {
    cache = fmt::format("{}.{}", version / 1000, version % 1000 / 10);
  }
  return cache;
}

const std::string& libraryLoadError(LookAgain lookAgain) {
  std::string& error = library().loadError;
  if (lookAgain == LookAgain::yes && !error.empty()) library() = loadLibrary();
  // The loader quotes what stands in the file.
  error = cleanText(error);
  return error;
}

}  // namespace zanctl
