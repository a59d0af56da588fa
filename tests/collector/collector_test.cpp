// Rounds over a library that hangs, crashes and lies. The child that the collector forks inherits
// the functions bound here; what they do next stands in memory that both processes share.
#include "collector/collector.h"

#include "device/driver_node.h"
#include "support/fake_library.h"

#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zanctl {

// The test machine's own, instead of that of the device layer.
static DriverNode drivenNode = DriverNode::present;
DriverNode findDriverNode() { return drivenNode; }

namespace collector {
namespace {

using namespace std::chrono_literals;

enum class Mood { well, hangs, crashes, lost, refused, floods };

struct Machine {
  std::uint32_t gpus;
  Mood starting;  // of the library as a whole
  std::array<Mood, 8> moods;
  std::array<int, 8> asked;  // how often each GPU was asked for its UUID
  pid_t child;
  pid_t traced;
  int socketGarbage;  // what it writes to every descriptor: 0 nothing, 1 lengths, 2 frames
};

Machine* machine = nullptr;

void behave(Mood mood) {
  while (mood == Mood::hangs) pause();
  if (mood == Mood::crashes) std::raise(SIGKILL);
}

void writeEverywhere(std::string_view bytes) {
  for (int descriptor = 3; descriptor < 10; ++descriptor) {
    if (write(descriptor, bytes.data(), bytes.size()) < 0) continue;
  }
}

nvmlReturn_t answerUuid(nvmlDevice_t device, char* text, unsigned int size) {
  const std::uint32_t gpu = gpuOf(device);
  machine->child = getpid();
  prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
  ++machine->asked[gpu];
  behave(machine->moods[gpu]);
  if (machine->moods[gpu] == Mood::lost) return NVML_ERROR_GPU_IS_LOST;
  if (machine->moods[gpu] == Mood::floods) {
    std::memset(text, 'x', size);
    if (machine->socketGarbage == 1) writeEverywhere("\xff\xff\xff\xff\xff");
    if (machine->socketGarbage == 2) writeEverywhere(std::string("\x04\0\0\0abcd", 8));
    return NVML_SUCCESS;
  }
  std::snprintf(text, size, "GPU-%u", gpu);
  return NVML_SUCCESS;
}

class Rounds : public testing::Test {
 protected:
  Rounds() {
    void* shared =
        mmap(nullptr, sizeof(Machine), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    machine = new (shared) Machine{};
    machine->gpus = 4;
    drivenNode = DriverNode::present;
    library() = Library{};
    library().nvmlInit.bind(+[] {
      behave(machine->starting);
      return NVML_SUCCESS;
    });
    library().nvmlShutdown.bind(+[] { return NVML_SUCCESS; });
    library().nvmlDeviceGetCount_v2.bind(+[](unsigned int* count) {
      *count = machine->gpus;
      return NVML_SUCCESS;
    });
    library().nvmlDeviceGetHandleByIndex_v2.bind(+[](unsigned int index, nvmlDevice_t* device) {
      *device = handleOf(index);
      return machine->moods[index] == Mood::refused ? NVML_ERROR_UNKNOWN : NVML_SUCCESS;
    });
    library().nvmlDeviceGetUUID.bind(answerUuid);
    library().nvmlDeviceGetMemoryInfo.bind(+[](nvmlDevice_t device, nvmlMemory_t* memory) {
      if (machine->moods[gpuOf(device)] == Mood::lost) return NVML_ERROR_GPU_IS_LOST;
      *memory = {~0ULL, 0, 5};
      return NVML_SUCCESS;
    });
  }
  ~Rounds() override {
    munmap(machine, sizeof(Machine));
    library() = Library{};
  }

  // The states by index, a letter each; lower-case for a GPU that is not counted.
  std::string round(std::chrono::milliseconds deadline = 5s, Groups groups = kMemory) {
    const Snapshot& snapshot = collector.takeRound({.groups = groups, .deadline = deadline});
    std::string states;
    for (const Gpu& gpu : snapshot.gpus) {
      const char state = "PUSHN"[static_cast<int>(gpu.state)];
      states += gpu.counted ? state : static_cast<char>(std::tolower(state));
    }
    return states;
  }

  std::string uuids() const {
    std::string all;
    for (const Gpu& gpu : collector.snapshot().gpus) all += gpu.uuid + " ";
    return all;
  }

  Collector collector;
};

TEST_F(Rounds, readEveryGpuAndDropWhatIsGarbage) {
  machine->moods[2] = Mood::floods;
  EXPECT_EQ(round(), "UUUU");
  const Snapshot& snapshot = collector.snapshot();
  EXPECT_EQ(snapshot.library, LibraryState::running);
  EXPECT_EQ(snapshot.gpuCount, 4U);
  EXPECT_EQ(uuids(), "GPU-0 GPU-1  GPU-3 ") << "a text without an end is none";
  EXPECT_FALSE(snapshot.gpus[0].readings.memory.total) << "all ones are no number";
  EXPECT_EQ(snapshot.gpus[0].readings.memory.used, 5U);
  EXPECT_FALSE(snapshot.gpus[0].readings.clock.sm) << "nothing is read that is not asked for";
  EXPECT_FALSE(snapshot.driverVersion);
}

TEST_F(Rounds, keepTheNumberOfAGpuWhoseHandleIsRefusedAndTheUuidOfALostOne) {
  EXPECT_EQ(round(), "UUUU");
  machine->moods = {Mood::well, Mood::refused, Mood::lost, Mood::well};
  EXPECT_EQ(round(), "UUSU") << "a handle once held is good";
  machine->moods = {Mood::well, Mood::lost, Mood::lost, Mood::well};
  EXPECT_EQ(round(), "USSU");
  machine->moods = {Mood::well, Mood::refused, Mood::well, Mood::well};
  EXPECT_EQ(round(), "USUU");
  EXPECT_EQ(uuids(), "GPU-0 GPU-1 GPU-2 GPU-3 ");
  machine->moods = {};
  machine->gpus = 2;
  EXPECT_EQ(round(), "UUss") << "GPUs that are counted no more";
  EXPECT_EQ(uuids(), "GPU-0 GPU-1 GPU-2 GPU-3 ");
  machine->gpus = 4;
  EXPECT_EQ(round(), "UUUU");
  EXPECT_EQ(collector.snapshot().restarts, 0U);
}

TEST_F(Rounds, payForAHungGpuOnce) {
  EXPECT_EQ(round(), "UUUU");
  usleep(1'000'000);  // children are started a second apart
  machine->moods[1] = Mood::hangs;
  EXPECT_EQ(round(2s), "UHUU") << "a new child asks those behind it";
  EXPECT_EQ(uuids(), "GPU-0 GPU-1 GPU-2 GPU-3 ");
  EXPECT_EQ(collector.snapshot().roundTimeouts, 1U);
  EXPECT_EQ(collector.snapshot().restarts, 1U);
  EXPECT_EQ(round(), "UHUU");
  EXPECT_LT(collector.snapshot().durationSeconds, 1);
  EXPECT_EQ(machine->asked[1], 2) << "it is left alone for a minute";
  EXPECT_EQ(collector.snapshot().roundTimeouts, 1U);
}

TEST_F(Rounds, outliveALibraryThatCrashes) {
  machine->moods[2] = Mood::crashes;
  EXPECT_EQ(round(900ms), "UUHN") << "the next child may start only in a second";
  EXPECT_EQ(round(), "UUHU");
  EXPECT_EQ(collector.snapshot().restarts, 1U);
  machine->moods[2] = Mood::well;
  usleep(2'000'000);
  EXPECT_EQ(round(), "UUUU") << "a crash is forgiven sooner than a hang";
  EXPECT_EQ(collector.snapshot().roundTimeouts, 0U);
}

TEST_F(Rounds, startTheNextChildSoonAfterOneThatWasOfUse) {
  for (int loss = 0; loss < 4; ++loss) {
    EXPECT_EQ(round(900ms), "UUUU");
    kill(machine->child, SIGKILL);
    usleep(1'100'000);
  }
}

// For a parent a child that sits in the kernel is one that is killed and does not end, as is one
// whose end a tracer holds back.
class Tracer {
 public:
  explicit Tracer(pid_t child) : pid_(fork()) {
    if (pid_ == 0) {
      if (ptrace(PTRACE_SEIZE, child, nullptr, nullptr) == 0) machine->traced = child;
      for (;;) pause();
    }
    for (int i = 0; i < 1000 && machine->traced != child; ++i) usleep(1000);
  }
  ~Tracer() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }

 private:
  pid_t pid_;
};

TEST_F(Rounds, waitForAChildThatCannotBeKilled) {
  EXPECT_EQ(round(), "UUUU");
  usleep(1'000'000);
  {
    const Tracer tracer(machine->child);
    if (machine->traced != machine->child) GTEST_SKIP() << "nothing can be traced here";
    machine->moods[1] = Mood::hangs;
    EXPECT_EQ(round(900ms), "UHNN");
    EXPECT_EQ(round(900ms), "ssss");
    EXPECT_EQ(uuids(), "GPU-0 GPU-1 GPU-2 GPU-3 ");
    EXPECT_EQ(round(), "ssss");
    EXPECT_LT(collector.snapshot().durationSeconds, 1.5) << "it is not waited for twice";
    EXPECT_EQ(collector.snapshot().restarts, 0U) << "no second child joins it";
  }
  EXPECT_EQ(round(), "UHUU");
  EXPECT_EQ(collector.snapshot().restarts, 1U);
}

TEST_F(Rounds, endWhenTheyAreShortened) {
  machine->moods[2] = Mood::hangs;
  collector.startRound({.groups = 0, .deadline = 60s});
  collector.shortenRound(100ms);
  EXPECT_EQ(collector.takeRound({}).gpus[2].state, GpuState::unasked);
  EXPECT_LT(collector.snapshot().durationSeconds, 5);
}

TEST_F(Rounds, treatGarbageOnTheWireAsACrash) {
  machine->moods[1] = Mood::floods;
  for (const int garbage : {1, 2}) {
    machine->socketGarbage = garbage;
    Collector fresh;
    const Snapshot& snapshot = fresh.takeRound({.groups = kMemory, .deadline = 5s});
    ASSERT_EQ(snapshot.gpus.size(), 4U);
    EXPECT_EQ(snapshot.gpus[0].state, GpuState::up);
    EXPECT_EQ(snapshot.gpus[1].state, GpuState::hung);
    EXPECT_EQ(snapshot.gpus[2].state, GpuState::up)
        << "the next child is heard from its first byte";
  }
}

TEST_F(Rounds, sayWhyThereIsNothing) {
  machine->moods[2] = Mood::floods;
  EXPECT_EQ(round(), "UUUU");
  machine->starting = Mood::hangs;
  kill(machine->child, SIGKILL);
  usleep(1'000'000);
  EXPECT_EQ(round(900ms), "ssss") << "also GPU 2, whose UUID nobody knows";
  EXPECT_EQ(collector.snapshot().library, LibraryState::noAnswer);
  EXPECT_EQ(collector.snapshot().gpuCount, 0U);
  machine->starting = Mood::well;
  EXPECT_EQ(round(900ms), "ssss");
  EXPECT_LT(collector.snapshot().durationSeconds, 0.5) << "too early for another child";
  EXPECT_EQ(round(), "UUUU");
}

TEST_F(Rounds, findADriverAndALibraryThatComeLater) {
  drivenNode = DriverNode::missing;
  EXPECT_EQ(round(), "");
  EXPECT_EQ(collector.snapshot().library, LibraryState::noDriver);
  machine->gpus = ~0U;
  drivenNode = DriverNode::present;
  Collector later;
  EXPECT_EQ(later.takeRound({.deadline = 5s}).library, LibraryState::failing);
  machine->gpus = 4;
  EXPECT_EQ(later.takeRound({.deadline = 5s}).gpus.size(), 4U);
}

TEST_F(Rounds, goOnBesideOtherWork) {
  std::string arrived;
  collector.startRound({.groups = 0, .deadline = 5s, .onGpu = [&](const Gpu& gpu) {
                          arrived += std::to_string(gpu.index);
                        }});
  EXPECT_EQ(collector.takeRound({}).gpuCount, 4U) << "a round that runs goes on";
  EXPECT_EQ(arrived, "0123");
}

TEST_F(Rounds, leaveNoChild) {
  machine->moods[0] = Mood::hangs;
  {
    Collector other;
    other.startRound({});
    usleep(20'000);
  }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "there is none";
}

}  // namespace
}  // namespace collector
}  // namespace zanctl
