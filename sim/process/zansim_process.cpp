// One process of a simulated machine. Its command line is whatever the description says; it does
// nothing, and ends with the launcher, whose process id stands in the environment.
#include <cstdlib>
#include <cstring>

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

int main(int, char** argv) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const char* const launcher = getenv("ZANSIM_LAUNCHER");
  // The launcher may have ended before the signal was asked for.
  if (launcher == nullptr || getppid() != strtol(launcher, nullptr, 10)) return 1;
  const char* const slash = argv[0] == nullptr ? nullptr : strrchr(argv[0], '/');
  if (argv[0] != nullptr) prctl(PR_SET_NAME, slash == nullptr ? argv[0] : slash + 1);
  // The command line is there a moment after the start; who waits for the stop sees it whole.
  raise(SIGSTOP);
  for (;;) pause();
}
