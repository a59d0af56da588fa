// The process lists of DeviceReader.
#include "device/attributes.h"
#include "device/device_call.h"
#include "device/process.h"
#include "device/readers.h"

#include <algorithm>

namespace zanctl {
namespace {

using ProcessList = std::vector<nvmlProcessInfo_t>;
using ListOperation = Operation<nvmlReturn_t(nvmlDevice_t, unsigned int*, nvmlProcessInfo_t*)>;

constexpr unsigned int kFirstRoom = 20;
constexpr int kMaxAttempts = 4;
// The kernel's highest process id: a library that asks for more room than this is out of its mind.
constexpr unsigned int kMaxProcesses = 1U << 22;
// The library's own clearing of the table covers no more than this.
constexpr std::size_t kClearedVgpuPids = 8;

struct ListAnswer {
  ProcessList processes;
  bool outgrown = false;  // the library always had more than there was room for
};

// Processes come and go between the calls, so the room asked for is offered again while it is too
// small.
ListAnswer readListOfSize(const ListOperation& operation, unsigned int size) {
  ListAnswer list;
  for (int attempt = 0; attempt < kMaxAttempts && size <= kMaxProcesses; ++attempt) {
    list.processes.assign(size, {});
    const nvmlReturn_t answer = callOnCurrentDevice(operation, &size, list.processes.data());
    list.outgrown = answer == NVML_ERROR_INSUFFICIENT_SIZE;
    if (answer == NVML_SUCCESS) {
      list.processes.resize(std::min<std::size_t>(size, list.processes.size()));
      return list;
    }
    if (!list.outgrown) break;
  }
  list.processes.clear();
  return list;
}

ProcessList readComputeList() {
  const ListOperation& operation = library().nvmlDeviceGetComputeRunningProcesses;
  unsigned int size = 0;
  if (callOnCurrentDevice(operation, &size, nullptr) != NVML_ERROR_INSUFFICIENT_SIZE) return {};
  return readListOfSize(operation, size).processes;
}

void refreshVgpuProcessTable() {
  auto& table = vgpuProcessTable();
  std::fill_n(table.begin(), kClearedVgpuPids, 0U);
  // Without an answer nobody is known to be a vGPU's.
  callOnCurrentDevice(library().getDeviceVgpuPids, table.data());
}

std::vector<ProcessEntry> named(const ProcessList& processes) {
  std::vector<ProcessEntry> entries;
  entries.reserve(processes.size());
  for (const nvmlProcessInfo_t& process : processes) {
    const bool gone = !processExists(static_cast<std::int32_t>(process.pid));
    entries.push_back({process.pid, gone ? std::string() : processName(process.pid),
                       process.usedGpuMemory >> 20, gone});
  }
  return entries;
}

}  // namespace

std::vector<nvmlProcessInfo_t> DeviceReader::readComputeProcesses() const {
  ProcessList processes = readComputeList();
  refreshVgpuProcessTable();
  return processes;
}

ProcessUsage DeviceReader::readProcessUsage() const {
  ProcessUsage usage{};
  usage.processes = readComputeProcesses();
  usage.memoryTotal = readMemory().total;
  usage.utilization = readUtilization();
  return usage;
}

std::vector<ProcessEntry> DeviceReader::readRunningProcesses() const {
  return named(readComputeProcesses());
}

std::vector<ProcessEntry> DeviceReader::readAllProcesses() const {
  const ListAnswer list = readListOfSize(library().zanmlDeviceGetComputeAllProcesses, kFirstRoom);
  refreshVgpuProcessTable();
  return list.outgrown ? std::vector<ProcessEntry>(1) : named(list.processes);
}

}  // namespace zanctl
