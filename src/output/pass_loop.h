// The one loop behind every output that repeats.
#pragma once

#include "output/log_file.h"

#include <cstdint>
#include <functional>
#include <string>

#include <sys/time.h>

namespace zanctl {

struct Pass {
  Output& output;
  timeval start;
  std::uint64_t number;  // from 0

  [[nodiscard]] std::string& text() const { return output.text(); }
};

enum class LastPass { unchecked, checked };

struct LoopPlan {
  std::uint64_t periodSeconds = 0;
  std::uint64_t passCount = 0;              // 0: endless
  LastPass lastPass = LastPass::unchecked;  // whether the file must still exist after the last
};

// One pass, or without end every `periodSeconds`.
LoopPlan onceOrEvery(std::uint64_t periodSeconds);

enum class LoopEnd { finished, outputLost };

// Repeats the pass, each starting a period after the start of the one before and flushed at its
// end. Ends with the last pass, or when the output can no longer be written, which is said of a
// file by its name.
LoopEnd runPasses(Output& output, const LoopPlan& plan,
                  const std::function<void(const Pass&)>& runPass);

enum class AfterPass { goOn, stop };

// The same for a pass that may turn out to be the last.
LoopEnd runPassesUntilStopped(Output& output, const LoopPlan& plan,
                              const std::function<AfterPass(const Pass&)>& runPass);

// The status of a command that a lost output fails.
inline int statusOf(LoopEnd end) { return end == LoopEnd::finished ? 0 : -1; }

}  // namespace zanctl
