#include "health/checks.h"

#include "collector/gpu_names.h"

#include <fmt/format.h>

#include <algorithm>

namespace zanctl::health {
namespace {

using namespace collector;

constexpr double kBytesPerMiB = 0x1p20;

bool isChecked(const Gpu& gpu, const Options& options) {
  return options.only.empty() ||
         std::any_of(options.only.begin(), options.only.end(),
                     [&gpu](const std::string& name) { return isNamed(gpu, name); });
}

int rank(Severity severity) {
  switch (severity) {
    case Severity::critical:
      return 3;
    case Severity::unknown:
      return 2;
    case Severity::warning:
      return 1;
    default:
      return 0;
  }
}

class Checks {
 public:
  Checks(const Snapshot& snapshot, const Options& options)
      : snapshot_(snapshot), options_(options), gpus_(snapshot.gpus) {}

  std::vector<Problem> run(const std::vector<std::string>& expected) {
    if (snapshot_.library == LibraryState::running) {
      nameLostGpus(expected);
      checkMachine();
      checkExpected(expected);
      for (const Gpu& gpu : gpus_) {
        if (isChecked(gpu, options_)) checkGpu(gpu);
      }
    } else {
      add(Severity::unknown, snapshot_.problem);
    }
    std::stable_sort(problems_.begin(), problems_.end(), [](const Problem& a, const Problem& b) {
      return rank(a.severity) > rank(b.severity);
    });
    return std::move(problems_);
  }

 private:
  void add(Severity severity, std::string text) {
    problems_.push_back({severity, std::nullopt, {}, std::move(text)});
  }
  void add(Severity severity, const Gpu& gpu, std::string text) {
    problems_.push_back({severity, gpu.index, gpu.uuid, std::move(text)});
  }

  void checkMachine() {
    const std::uint32_t count = snapshot_.gpuCount;
    if (options_.gpus && count != *options_.gpus) {
      add(count < *options_.gpus ? Severity::critical : Severity::warning,
          fmt::format("there are {} GPUs instead of {}", count, *options_.gpus));
    } else if (count == 0 && !options_.gpus) {
      add(Severity::critical, "there is no GPU");
    }
    if (snapshot_.resetInProgress == 1U) add(Severity::critical, "GPUs are being reset");
    for (const std::string& name : options_.only) {
      const bool there = std::any_of(gpus_.begin(), gpus_.end(),
                                     [&name](const Gpu& gpu) { return isNamed(gpu, name); });
      if (!there) add(Severity::critical, fmt::format("there is no GPU {}", name));
    }
  }

  [[nodiscard]] bool isThere(const std::string& uuid) const {
    return std::any_of(gpus_.begin(), gpus_.end(),
                       [&uuid](const Gpu& gpu) { return gpu.uuid == uuid; });
  }

  // A GPU that does not tell its UUID had that of its line, unless another one has it.
  void nameLostGpus(const std::vector<std::string>& expected) {
    for (Gpu& gpu : gpus_) {
      if (gpu.state != GpuState::up && gpu.uuid.empty() && gpu.index < expected.size() &&
          !isThere(expected[gpu.index])) {
        gpu.uuid = expected[gpu.index];
      }
    }
  }

  void checkExpected(const std::vector<std::string>& expected) {
    for (const std::string& uuid : expected) {
      if (!isThere(uuid))
        problems_.push_back({Severity::critical, std::nullopt, uuid, "is not there"});
    }
  }

  void checkGpu(const Gpu& gpu) {
    switch (gpu.state) {
      case GpuState::up:
        checkTemperature(gpu);
        checkMemory(gpu);
        checkLink(gpu);
        checkHolders(gpu);
        break;
      case GpuState::silent:
        add(Severity::critical, gpu, "answers nothing");
        break;
      default:
        add(Severity::unknown, gpu, "does not answer in time");
    }
  }

  void checkTemperature(const Gpu& gpu) {
    const Temperatures& readings = gpu.readings.temperature;
    if (!readings.gpu) {
      if (options_.maxTemperature) add(Severity::unknown, gpu, "has no known temperature");
      return;
    }
    const auto limit = options_.maxTemperature ? options_.maxTemperature : readings.slowdown;
    // At its threshold the GPU is slow already.
    const bool tooHot =
        options_.maxTemperature ? *readings.gpu > *limit : limit && *readings.gpu >= *limit;
    if (tooHot) {
      add(Severity::critical, gpu,
          fmt::format("is at {} C, and its limit at {} C", *readings.gpu, *limit));
    } else if (!options_.maxTemperature && readings.maxOperating &&
               *readings.gpu > *readings.maxOperating) {
      add(Severity::warning, gpu,
          fmt::format("is at {} C, and should not be above {} C", *readings.gpu,
                      *readings.maxOperating));
    }
  }

  void checkMemory(const Gpu& gpu) {
    const Memory& readings = gpu.readings.memory;
    if (readings.eccEnabled && readings.eccPending &&
        *readings.eccEnabled != *readings.eccPending) {
      add(Severity::warning, gpu, "changes its error correction with the next reset");
    }
    if (!options_.maxMemoryUsed) return;
    if (!readings.used || (options_.maxMemoryUsed->isShare && !readings.total)) {
      add(Severity::unknown, gpu, "does not tell its memory");
      return;
    }
    const double limit = options_.maxMemoryUsed->bytes(readings.total.value_or(0));
    const auto used = static_cast<double>(*readings.used);
    if (used <= limit) return;
    add(Severity::critical, gpu,
        fmt::format("has {:.0f} MiB of its memory in use, and its limit is {:.0f} MiB",
                    used / kBytesPerMiB, limit / kBytesPerMiB));
  }

  // The generation follows the load, the width does not.
  void checkLink(const Gpu& gpu) {
    const Pcie& link = gpu.readings.pcie;
    if (!link.width || !link.maxWidth || *link.width >= *link.maxWidth) return;
    add(Severity::warning, gpu,
        fmt::format("has {} of {} PCIe lanes", *link.width, *link.maxWidth));
  }

  void checkHolders(const Gpu& gpu) {
    if (!options_.idle) return;
    if (gpu.readings.vgpuCount.value_or(0) > 0) {
      add(Severity::critical, gpu, fmt::format("has active vGPUs: {}", *gpu.readings.vgpuCount));
    }
    if (!gpu.readings.processes) {
      add(Severity::unknown, gpu, "does not tell its processes");
      return;
    }
    for (const Process& process : *gpu.readings.processes) {
      const std::string name =
          process.name.empty() ? "which is gone or out of sight" : process.name;
      add(Severity::critical, gpu, fmt::format("is used by process {}, {}", process.pid, name));
    }
  }

  const Snapshot& snapshot_;
  const Options& options_;
  std::vector<Gpu> gpus_;
  std::vector<Problem> problems_;
};

}  // namespace

Groups groupsFor(const Options& options) {
  Groups groups = kTemperature | kMemory | kPcie;
  if (options.idle) groups |= kHolders | kVgpu;
  if (!options.only.empty()) groups |= kIdentity;
  return groups;
}

std::vector<Problem> check(const Snapshot& snapshot, const Options& options,
                           const std::vector<std::string>& expected) {
  return Checks(snapshot, options).run(expected);
}

Severity worst(const std::vector<Problem>& problems) {
  Severity result = Severity::well;
  for (const Problem& problem : problems) {
    if (rank(problem.severity) > rank(result)) result = problem.severity;
  }
  return result;
}

}  // namespace zanctl::health
