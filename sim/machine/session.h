// What the library keeps for the process that loaded it: the machine, the counted
// initialisation, the handles, the call counts and the trace.
#pragma once

#include "machine/machine.h"
#include "machine/shared_state.h"
#include "machine/trace.h"

#include <memory>
#include <optional>
#include <string>

#include <sys/types.h>

namespace zansim {

// The variables by which the launcher tells the library where its files are.
constexpr char kHostVariable[] = "ZANSIM_HOST";
constexpr char kStateVariable[] = "ZANSIM_STATE";
constexpr char kProcessesVariable[] = "ZANSIM_PROCESSES";
constexpr char kTraceVariable[] = "ZANSIM_TRACE";
// The operations that the library lacks, as the digits of an OperationSet.
constexpr char kMissingVariable[] = "ZANSIM_MISSING";

// The wall clock of the simulated machine.
Time wallNow();

class Session {
 public:
  struct Paths {
    std::string host;       // the description
    std::string state;      // the state directory; empty: the state is this process's own
    std::string processes;  // the process table; empty: there are no processes
    std::string settings;   // values that have been set; there may be none
    std::string trace;      // empty: calls are not traced
  };

  explicit Session(Paths paths);

  // The session of this process, from its environment.
  static Session& ofProcess();
  // Begins the session of this process anew. Only tests live through more than one.
  static void restartOfProcess();

  nvmlReturn_t initialise();
  nvmlReturn_t shutDown();
  bool isOpen() const { return opened_ > 0; }

  // Takes notice of a changed description. A bad one is complained about on standard error, once,
  // and the machine stays as it was. `force` looks even if it has just been looked.
  void refresh(bool force = false);

  // Only while the session is open.
  const Machine& machine() const { return *machine_; }
  SharedState& state() const { return *state_; }

  nvmlDevice_t handleOf(unsigned gpu) const;
  // Empty for what is no handle of this session. The GPU may have left the machine since.
  std::optional<unsigned> gpuOf(nvmlDevice_t handle) const;

  // Counts a call and tells what the described faults make of it; the latency has passed then.
  FaultOutcome befall(Operation operation, unsigned gpu);

  // Of the file that calls are traced to; empty: they are not.
  const std::string& tracePath() const { return paths_.trace; }

 private:
  struct FileMark {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = -1;
    Time modified = 0;
    bool operator==(const FileMark&) const = default;
  };

  static std::unique_ptr<Session>& slot();
  static FileMark markOf(const std::string& path);
  bool load();

  Paths paths_;
  std::unique_ptr<SharedState> state_;
  std::unique_ptr<const Machine> machine_;
  FileMark hostMark_;
  FileMark processesMark_;
  FileMark settingsMark_;
  Time lookedAt_ = 0;
  CallCounts calls_;
  unsigned opened_ = 0;
  unsigned generation_ = 0;
};

}  // namespace zansim
