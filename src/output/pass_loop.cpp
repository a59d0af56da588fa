#include "output/pass_loop.h"

#include "device/time.h"

#include <algorithm>
#include <limits>
#include <ostream>

namespace zanctl {
namespace {

constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
constexpr std::uint64_t kLongestPeriodSeconds =
    std::numeric_limits<std::uint64_t>::max() / kMicrosecondsPerSecond;

}  // namespace

LoopPlan onceOrEvery(std::uint64_t periodSeconds) {
  return {.periodSeconds = periodSeconds, .passCount = periodSeconds == 0 ? 1U : 0U};
}

LoopEnd runPasses(Output& output, const LoopPlan& plan,
                  const std::function<void(const Pass&)>& runPass) {
  return runPassesUntilStopped(output, plan, [&runPass](const Pass& pass) {
    runPass(pass);
    return AfterPass::goOn;
  });
}

LoopEnd runPassesUntilStopped(Output& output, const LoopPlan& plan,
                              const std::function<AfterPass(const Pass&)>& runPass) {
  const std::uint64_t period =
      std::min(plan.periodSeconds, kLongestPeriodSeconds) * kMicrosecondsPerSecond;
  for (std::uint64_t number = 0;; ++number) {
    const timeval start = currentTime();
    const AfterPass after = runPass({output, start, number});
    output.flush();
    const bool last = after == AfterPass::stop || number + 1 == plan.passCount;
    const bool checked = !last || plan.lastPass == LastPass::checked;
    if (!output.good() || (checked && output.vanished())) {
      if (!output.fileName().empty()) {
        output.messages() << "Failed to write the log file " << output.fileName() << "\n";
      }
      return LoopEnd::outputLost;
    }
    if (last) return LoopEnd::finished;
    paceInterval(start, period);
  }
}

}  // namespace zanctl
