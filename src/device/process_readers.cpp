// The process lists of DeviceReader.
#include "device/device_call.h"
#include "device/list_call.h"
#include "device/process.h"
#include "device/readers.h"

#include <algorithm>

namespace zanctl {
namespace {

using ProcessList = std::vector<nvmlProcessInfo_t>;
using ListOperation = Operation<nvmlReturn_t(nvmlDevice_t, unsigned int*, nvmlProcessInfo_t*)>;

constexpr unsigned int kFirstRoom = 20;
// The library's own clearing of the table covers no more than this.
constexpr std::size_t kClearedVgpuPids = 8;

auto listCall(const ListOperation& operation) {
  return [&operation](unsigned int* count, nvmlProcessInfo_t* processes) {
    return callOnCurrentDevice(operation, count, processes);
  };
}

void refreshVgpuProcessTable() {
  auto& table = vgpuProcessTable();
  std::fill_n(table.begin(), kClearedVgpuPids, 0U);
  // Without an answer nobody is known to be a vGPU's.
  callOnCurrentDevice(library().getDeviceVgpuPids, table.data());
}

bool isOwn(const nvmlProcessInfo_t& process) { return process.pid == ownProcessId(); }

}  // namespace

std::vector<nvmlProcessInfo_t> DeviceReader::readComputeProcesses() const {
  const auto call = listCall(library().nvmlDeviceGetComputeRunningProcesses);
  unsigned int size = 0;
  // Nothing but a size that is too small announces processes.
  if (call(&size, nullptr) != NVML_ERROR_INSUFFICIENT_SIZE) return {};
  ProcessList processes = readListOfSize<nvmlProcessInfo_t>(call, size).entries;
  if (!processes.empty()) refreshVgpuProcessTable();
  return processes;
}

std::vector<nvmlProcessInfo_t> DeviceReader::readRunningProcesses() const {
  ProcessList processes = readComputeProcesses();
  std::erase_if(processes, isOwn);
  return processes;
}

std::vector<std::uint32_t> DeviceReader::readAllProcesses() const {
  const auto list = readListOfSize<nvmlProcessInfo_t>(
      listCall(library().zanmlDeviceGetComputeAllProcesses), kFirstRoom);
  if (list.outgrown) return {0};
  std::vector<std::uint32_t> ids;
  for (const nvmlProcessInfo_t& process : list.entries) {
    if (!isOwn(process)) ids.push_back(process.pid);
  }
  return ids;
}

ProcessEntry describeProcess(const nvmlProcessInfo_t& process) {
  const bool gone = !processExists(static_cast<std::int32_t>(process.pid));
  return {process.pid, gone ? std::string() : processName(process.pid), process.usedGpuMemory,
          gone};
}

}  // namespace zanctl
