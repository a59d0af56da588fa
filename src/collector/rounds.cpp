#include "collector/rounds.h"

#include <algorithm>
#include <utility>

namespace zanctl::collector {
namespace {

// One answer may take this part of a round.
constexpr int kShares = 3;
// As often is a GPU that answers nothing looked for in a fresh session.
constexpr Moment kRenewal{60'000};

bool isSilent(const Gpu& gpu) { return gpu.counted && gpu.state == GpuState::silent; }

}  // namespace

void Collector::Rounds::start(RoundRequest request) {
  if (isRunning()) return;
  request_ = std::move(request);
  keeper_.look();
  begin();
  phase_ = Phase::waitingForChild;
  proceed();
}

void Collector::Rounds::shorten(Moment fromNow) {
  deadline_ = std::min(deadline_, now() + fromNow);
  wakeup_.wakeAt(nextTime());
}

void Collector::Rounds::begin() {
  const Moment time = now();
  startedAt_ = std::chrono::steady_clock::now();
  deadline_ = time + request_.deadline;
  freshSession_ = wantsFreshSession();
  if (freshSession_) freshAt_ = time;
  turns_.clear();
  turnsBegun_ = false;
  timedOut_ = false;
  Snapshot next;
  next.startedAt = std::chrono::duration_cast<std::chrono::milliseconds>(
                       std::chrono::system_clock::now().time_since_epoch())
                       .count();
  next.roundTimeouts = snapshot_.roundTimeouts;
  next.restarts = keeper_.restarts();
  snapshot_ = std::move(next);
}

// A library may find a GPU again only when it is started anew.
bool Collector::Rounds::wantsFreshSession() const {
  const auto& gpus = snapshot_.gpus;
  if (std::none_of(gpus.begin(), gpus.end(), isSilent)) return false;
  const bool anyUp = std::any_of(gpus.begin(), gpus.end(),
                                 [](const Gpu& gpu) { return gpu.state == GpuState::up; });
  return !anyUp || now() - freshAt_ >= kRenewal;
}

void Collector::Rounds::proceed() {
  if (phase_ == Phase::idle) keeper_.look();
  while (step()) {
  }
  wakeup_.wakeAt(nextTime());
}

std::optional<Moment> Collector::Rounds::nextTime() const {
  if (phase_ == Phase::idle) return keeper_.nextLook();
  if (phase_ != Phase::waitingForChild) return answerLimit();
  return std::min(deadline_, keeper_.nextProvision().value_or(deadline_));
}

Moment Collector::Rounds::answerLimit() const {
  return std::min(deadline_, askedAt_ + request_.deadline / kShares);
}

// Whether there is more to do at once.
bool Collector::Rounds::step() {
  if (phase_ == Phase::idle) return false;
  return phase_ == Phase::waitingForChild ? awaitChild() : awaitAnswer();
}

bool Collector::Rounds::awaitChild() {
  const ChildKeeper::Outcome outcome = keeper_.provide(deadline_);
  snapshot_.restarts = keeper_.restarts();
  if (outcome.talking) {
    ask(Phase::systemAsked, Question::system);
  } else if (outcome.problem != nullptr) {
    fail(outcome.problem);
  }
  return outcome.talking;
}

// A child that does not take the question is found broken when its answer is awaited.
void Collector::Rounds::ask(Phase phase, Question question, std::uint32_t index) {
  phase_ = phase;
  asked_ = index;
  askedAt_ = now();
  keeper_.child().ask({question, index, request_.groups, freshSession_ ? 1U : 0U});
}

bool Collector::Rounds::awaitAnswer() {
  std::string_view payload;
  const ChildProcess::Received received = keeper_.child().receive(payload);
  if (received == ChildProcess::Received::nothing) {
    if (now() < answerLimit()) return false;
    blame(true);
    return true;
  }
  bool sound = received == ChildProcess::Received::frame;
  if (sound) {
    sound = phase_ == Phase::systemAsked ? takeSystem(payload)
            : phase_ == Phase::gpuAsked  ? takeGpu(payload)
                                         : takeLinks(payload);
  }
  if (!sound) blame(false);
  return true;
}

bool Collector::Rounds::takeSystem(std::string_view payload) {
  const auto system = systemAnswer(payload);
  if (!system) return false;
  freshSession_ = false;
  if (!turnsBegun_) beginTurns(*system);
  if (system->state == LibraryState::running) {
    nextTurn();
  } else {
    end();
  }
  return true;
}

void Collector::Rounds::beginTurns(const SystemAnswer& system) {
  turnsBegun_ = true;
  snapshot_.library = system.state;
  snapshot_.problem = system.problem;
  snapshot_.driverVersion = system.driverVersion;
  snapshot_.libraryVersion = system.libraryVersion;
  snapshot_.cudaVersion = system.cudaVersion;
  if (system.state != LibraryState::running) return;
  snapshot_.gpuCount = system.gpuCount;
  snapshot_.gpus.resize(system.gpuCount);
  for (std::uint32_t i = 0; i < system.gpuCount; ++i) {
    snapshot_.gpus[i].index = i;
    snapshot_.gpus[i].uuid = known_.uuidAt(i);
  }
  const auto order = known_.order(system.gpuCount);
  turns_.assign(order.begin(), order.end());
}

void Collector::Rounds::nextTurn() {
  while (!turns_.empty()) {
    const std::uint32_t index = turns_.front();
    turns_.pop_front();
    if (now() >= deadline_) {
      endTurn(index, GpuState::unasked);
    } else if (known_.isBarred(index, now())) {
      endTurn(index, GpuState::hung);
    } else {
      ask(Phase::gpuAsked, Question::gpu, index);
      return;
    }
  }
  if ((request_.groups & kLinks) != 0) {
    for (const Gpu& gpu : snapshot_.gpus) {
      if (gpu.state == GpuState::up) turns_.push_back(gpu.index);
    }
  }
  nextLinks();
}

void Collector::Rounds::endTurn(std::uint32_t index, GpuState state) {
  Gpu& gpu = snapshot_.gpus[index];
  gpu.state = state;
  if (state == GpuState::up || state == GpuState::silent) {
    known_.answered(index);
    keeper_.praise();
  }
  if (state == GpuState::unasked) known_.missed(index);
  if (request_.onGpu) request_.onGpu(gpu);
}

bool Collector::Rounds::takeGpu(std::string_view payload) {
  auto answer = gpuAnswer(payload);
  if (!answer || answer->index != asked_) return false;
  Gpu& gpu = snapshot_.gpus[asked_];
  if (asked_ == 0) snapshot_.resetInProgress = answer->resetInProgress;
  if (answer->answered) {
    gpu.readings = std::move(answer->readings);
    if (gpu.readings.uuid) gpu.uuid = *gpu.readings.uuid;
  }
  endTurn(asked_, answer->answered ? GpuState::up : GpuState::silent);
  nextTurn();
  return true;
}

void Collector::Rounds::nextLinks() {
  if (turns_.empty() || now() >= deadline_) {
    turns_.clear();
    end();
    return;
  }
  ask(Phase::linksAsked, Question::links, turns_.front());
  turns_.pop_front();
}

bool Collector::Rounds::takeLinks(std::string_view payload) {
  auto answer = gpuAnswer(payload);
  if (!answer || answer->index != asked_) return false;
  snapshot_.gpus[asked_].readings.links = std::move(answer->readings.links);
  nextLinks();
  return true;
}

// The child said nothing in time, or else ended or spoke garbage.
void Collector::Rounds::blame(bool timedOut) {
  timedOut_ = timedOut_ || timedOut;
  keeper_.lose();
  switch (phase_) {
    case Phase::gpuAsked:
      blameGpu(timedOut);
      break;
    case Phase::linksAsked:
      known_.hung(asked_, now());
      turns_.clear();
      end();
      break;
    default:
      fail(timedOut ? "the management library does not answer" : "the management library crashed");
  }
}

void Collector::Rounds::blameGpu(bool timedOut) {
  // Whom those before it left less than its share is not to blame.
  const bool hung = timedOut && now() - askedAt_ >= request_.deadline / kShares;
  if (hung) known_.hung(asked_, now());
  if (!timedOut) known_.crashed(asked_, now());
  endTurn(asked_, hung || !timedOut ? GpuState::hung : GpuState::unasked);
  const bool goesOn = std::any_of(turns_.begin(), turns_.end(), [this](std::uint32_t index) {
    return !known_.isBarred(index, now());
  });
  if (goesOn) {
    phase_ = Phase::waitingForChild;
  } else {
    end();
  }
}

// Before the turns nothing is known of the library.
void Collector::Rounds::fail(const char* problem) {
  if (!turnsBegun_) {
    snapshot_.library = LibraryState::noAnswer;
    snapshot_.problem = problem;
  }
  end();
}

void Collector::Rounds::end() {
  for (const std::uint32_t index : std::exchange(turns_, {})) {
    endTurn(index, known_.isBarred(index, now()) ? GpuState::hung : GpuState::unasked);
  }
  known_.complete(snapshot_.gpus);
  if (keeper_.child().isTalking()) keeper_.praise();
  if (timedOut_) ++snapshot_.roundTimeouts;
  snapshot_.durationSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - startedAt_).count();
  phase_ = Phase::idle;
}

}  // namespace zanctl::collector
