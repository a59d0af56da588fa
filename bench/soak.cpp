// Runs the repeating commands for many passes in one process, on a machine whose values change and
// whose processes come and go, and tells whether anything grows with the passes:
//
//   bench_soak [PASSES]
//
// To be run by zansim with a virtual clock, so that no pass waits, and with a copy of soak.json,
// which is rewritten all the while. The exit status is 1 when something has grown.
#include "bench/usage.h"
#include "daemon/sampling.h"
#include "device/session.h"
#include "device/time.h"
#include "monitors/device_monitor.h"
#include "monitors/process_monitor.h"
#include "monitors/statistics.h"
#include "reports/summary.h"
#include "vgpu/display_loop.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <streambuf>
#include <string>
#include <vector>

#include <malloc.h>
#include <time.h>
#include <unistd.h>

namespace {

using namespace zanctl;

constexpr std::uint64_t kTenths = 10;
// A tenth's time and heap are the least of so many parts, which leaves out what other programs on
// this computer cost, and the moments at which the library holds two descriptions.
constexpr std::uint64_t kParts = 10;

// Where the last tenth may stand above the second. One byte lost in each pass of 100,000 shows in
// the heap. A time that grew steadily from nothing would stand six times as high; how many of its
// processes the machine lists at a moment alone is a quarter.
constexpr std::size_t kHeapTolerance = 32 << 10;     // bytes
constexpr std::size_t kMemoryTolerance = 512 << 10;  // bytes
constexpr double kTimeTolerance = 1.5;               // times

struct Figures {
  std::size_t heap = std::numeric_limits<std::size_t>::max();  // bytes allocated
  double microseconds = std::numeric_limits<double>::max();    // processor time of a pass
  std::size_t memory = 0;                                      // bytes resident
  std::size_t peak = 0;                                        // bytes resident, so far
  std::ptrdiff_t files = 0;                                    // open
};

double processorTime() { return processorSeconds(ownUsage()) * 1e6; }  // microseconds

std::size_t residentMemory() {
  std::ifstream statm("/proc/self/statm");
  std::size_t size = 0;
  std::size_t resident = 0;
  statm >> size >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::ptrdiff_t openFiles() {
  // One of them is the directory itself.
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}) - 1;
}

// Takes the figures as the passes go by.
class Soak {
 public:
  explicit Soak(std::uint64_t passes)
      : passesInPart_(std::max<std::uint64_t>(passes / kTenths / kParts, 1)) {}

  void begin() {
    tenths_.assign(1, {});
    passes_ = 0;
    partBegan_ = processorTime();
  }

  // After each pass but the last few, which no tenth holds.
  void notePass() {
    if (isOver() || ++passes_ % passesInPart_ != 0) return;
    Figures& tenth = tenths_.back();
    const double took = processorTime() - partBegan_;
    tenth.microseconds = std::min(tenth.microseconds, took / static_cast<double>(passesInPart_));
    tenth.heap = std::min(tenth.heap, mallinfo2().uordblks);
    tenth.memory = residentMemory();
    peak_ = tenth.peak = std::max(peak_, tenth.memory);
    if (passes_ % (passesInPart_ * kParts) == 0) {
      tenth.files = openFiles();
      tenths_.emplace_back();
    }
    changeProcesses();
    partBegan_ = processorTime();
  }

  [[nodiscard]] bool isOver() const { return tenths_.size() > kTenths; }

  // Prints the figures; false when something has grown.
  [[nodiscard]] bool report(const char* name) const {
    fmt::print("{:<10}{:>10}{:>12}{:>12}{:>8}{:>14}\n", name, "heap KB", "memory KB", "peak KB",
               "files", "us per pass");
    for (std::size_t tenth = 0; tenth < kTenths; ++tenth) {
      const Figures& f = tenths_[tenth];
      fmt::print("{:>10}{:>10.1f}{:>12}{:>12}{:>8}{:>14.1f}\n", tenth + 1,
                 static_cast<double>(f.heap) / 1024, f.memory >> 10, f.peak >> 10, f.files,
                 f.microseconds);
    }
    const Figures& early = tenths_[1];
    const Figures& late = tenths_[kTenths - 1];
    const auto grew = [](const char* what, bool really) {
      if (really) fmt::print("{} GREW\n", what);
      return really;
    };
    bool any = grew("heap", late.heap > early.heap + kHeapTolerance);
    any |= grew("memory", late.memory > early.memory + kMemoryTolerance);
    any |= grew("open files", late.files > early.files);
    any |= grew("time", late.microseconds > early.microseconds * kTimeTolerance);
    return !any;
  }

 private:
  // Lets the processes of one GPU end and those of another begin.
  void changeProcesses() {
    nlohmann::json changed = description_;
    auto& gpus = changed["gpus"];
    gpus[turn_++ % gpus.size()].erase("processes");
    std::ofstream(file_ + ".new") << changed;
    std::filesystem::rename(file_ + ".new", file_);
  }

  std::string file_ = std::getenv("ZANSIM_HOST");
  nlohmann::json description_ = nlohmann::json::parse(std::ifstream(file_));
  std::size_t turn_ = 0;
  std::uint64_t passesInPart_;
  std::uint64_t passes_ = 0;
  std::size_t peak_ = 0;
  double partBegan_ = 0;
  std::vector<Figures> tenths_;
};

Soak* soak = nullptr;

// Takes what is printed, until the passes are over: then it fails, which ends every loop.
class Sink : public std::streambuf {
 private:
  int_type overflow(int_type c) override { return traits_type::not_eof(c); }
  std::streamsize xsputn(const char* /*text*/, std::streamsize count) override { return count; }
  int sync() override { return soak->isOver() ? -1 : 0; }
};

void runDaemonCycles() {
  std::string directory = (std::filesystem::temp_directory_path() / "soak-XXXXXX").string();
  if (mkdtemp(directory.data()) == nullptr) return;
  Sampling sampling(StatsLog(directory, ""), {});
  while (!soak->isOver() && sampling.runCycle(currentTime().tv_sec) == CycleEnd::written) {
    soak->notePass();
    sleep(10);
  }
  std::filesystem::remove_all(directory);
}

struct Body {
  const char* name;
  void (*run)();
};

constexpr std::array<Body, 6> kBodies = {{
    {"dmon",
     [] {
       DmonOptions options;
       options.options = "DJTV";
       runDeviceMonitor(options, std::cout);
     }},
    {"pmon",
     [] {
       PmonOptions options;
       options.options = "DT";
       runProcessMonitor(options, std::cout);
     }},
    {"stats", [] { runStatistics({}, std::cout); }},
    {"summary",
     [] {
       runSummary({{}, "1", ""}, std::cout);
     }},
    {"vgpu -u",
     [] {
       VgpuOptions options;
       options.utilization = true;
       runVgpu(options, std::cout);
     }},
    {"daemon", runDaemonCycles},
}};

}  // namespace

// The pass loop pauses once between two passes.
extern "C" int usleep(useconds_t microseconds) {
  soak->notePass();
  const timespec duration{.tv_sec = microseconds / 1'000'000,
                          .tv_nsec = microseconds % 1'000'000 * 1000L};
  return nanosleep(&duration, nullptr);
}

int main(int argc, char** argv) {
  const std::uint64_t passes = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 100'000;
  const char* const clock = std::getenv("ZANSIM_CLOCK");
  if (std::getenv("ZANSIM_HOST") == nullptr || clock == nullptr ||
      clock != std::string_view("virtual") || passes < kTenths * kParts) {
    fmt::print(stderr, "usage: zansim --virtual-clock --host FILE -- bench_soak [PASSES]\n");
    return 2;
  }
  Soak ofAll(passes);
  soak = &ofAll;
  openSession(0);
  Sink sink;
  std::streambuf* const terminal = std::cout.rdbuf(&sink);
  bool grew = false;
  for (const Body& body : kBodies) {
    soak->begin();
    std::cout.clear();
    body.run();
    if (!soak->isOver()) {
      fmt::print(stderr, "{}: ended too early\n", body.name);
      return 1;
    }
    grew |= !soak->report(body.name);
    std::fflush(stdout);
  }
  std::cout.rdbuf(terminal);
  closeSession();
  return grew ? 1 : 0;
}
