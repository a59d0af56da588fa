// zansim: runs a command on a simulated machine.
#include "description/host_reader.h"
#include "description/settings.h"
#include "launcher/child.h"
#include "launcher/exit_status.h"
#include "launcher/layout.h"
#include "launcher/options.h"
#include "launcher/processes.h"
#include "launcher/state_directory.h"
#include "machine/session.h"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>

#include <unistd.h>

namespace zansim {

namespace {

std::string listBefore(const std::string& first, const char* variable, char separator) {
  const char* const rest = std::getenv(variable);
  return rest == nullptr || *rest == '\0' ? first : first + separator + rest;
}

void printProblems(std::FILE* stream, const HostReading& reading) {
  for (const std::string& problem : reading.problems) fmt::print(stream, "{}\n", problem);
}

int checkDescription(const std::string& file) {
  const HostReading reading = readHostFile(file);
  printProblems(stdout, reading);
  if (!reading.host) return 1;
  const std::size_t gpus = reading.host->gpus.size();
  fmt::print("{}: a correct description of a machine with {} GPU{}\n", file, gpus,
             gpus == 1 ? "" : "s");
  return 0;
}

int listHosts(const Layout& layout) {
  for (const std::string& name : hostNames(layout)) {
    const HostReading reading = readHostFile(findHost(layout, name));
    fmt::print("{:<16}{}\n", name, reading.host ? reading.host->description : "cannot be read");
  }
  return 0;
}

int printExample(const Layout& layout) {
  std::ifstream file(layout.example);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  if (text.empty()) throw std::runtime_error(layout.example + ": cannot be read");
  fmt::print("{}", text);
  return 0;
}

Environment clockEnvironment(const Options& options, SharedState& state, Time now) {
  const Time start = options.startTime.value_or(now);
  if (options.virtualClock) {
    if (options.startTime) state->virtualNow = start;
    return {{"ZANSIM_CLOCK", "virtual"}};
  }
  if (options.startTime) return {{"ZANSIM_CLOCK", std::to_string(start - now)}};
  return {};
}

Environment machineEnvironment(const Options& options, const Layout& layout, const Host& host,
                               const StateDirectory& state) {
  Environment environment{
      {kStateVariable, state.path()},
      {kProcessesVariable, state.processTable()},
      {"ZANSIM_CPUS", std::to_string(host.cpus)},
      {"LD_PRELOAD", listBefore(layout.preload, "LD_PRELOAD", ':')},
      {"PATH", listBefore(layout.programs, "PATH", ':')},
      // The preload library comes before a sanitizer's, which it does not disturb.
      {"ASAN_OPTIONS", listBefore("verify_asan_link_order=0", "ASAN_OPTIONS", ':')},
  };
  if (host.library) {
    environment.emplace_back("LD_LIBRARY_PATH",
                             listBefore(layout.libraries, "LD_LIBRARY_PATH", ':'));
  }
  if (host.missing.any()) environment.emplace_back(kMissingVariable, host.missing.to_string());
  if (!options.trace.empty()) {
    environment.emplace_back(kTraceVariable, std::filesystem::absolute(options.trace));
  }
  if (options.uid) environment.emplace_back("ZANSIM_UID", std::to_string(*options.uid));
  return environment;
}

// Starts and ends processes as the description is edited.
class ProcessWatch {
 public:
  ProcessWatch(std::string host, const StateDirectory& state, Processes& processes)
      : host_(std::move(host)), state_(state), processes_(processes), seen_(modified()) {}

  void operator()() {
    const auto now = modified();
    if (now == seen_) return;
    seen_ = now;
    // A bad description is the library's to complain about.
    const HostReading reading = readHostFile(host_);
    if (reading.host) update(*reading.host);
  }

  void update(const Host& host) {
    processes_.follow(host);
    state_.writeProcessTable(processTableText(processes_.table()));
  }

 private:
  std::filesystem::file_time_type modified() const {
    std::error_code error;
    return std::filesystem::last_write_time(host_, error);
  }

  std::string host_;
  const StateDirectory& state_;
  Processes& processes_;
  std::filesystem::file_time_type seen_;
};

// Nothing in a shell tells that it is on a machine, so that is said once.
std::vector<std::string> userShell(const Options& options) {
  if (isatty(STDIN_FILENO) != 0) {
    fmt::print(stderr, "zansim: a shell on the machine {}, \"exit\" leaves it\n", options.host);
  }
  const char* const shell = std::getenv("SHELL");
  return {shell == nullptr || *shell == '\0' ? "/bin/sh" : shell};
}

void expectSettings(const std::vector<std::string>& settings, Host host) {
  for (const std::string& setting : settings) {
    const std::string problem = applySetting(setting, host);
    if (!problem.empty()) throw std::runtime_error(fmt::format("{}: {}", setting, problem));
  }
}

int runOnMachine(const Options& options, const Layout& layout) {
  const std::string file = std::filesystem::absolute(findHost(layout, options.host));
  const HostReading reading = readHostFile(file);
  if (!reading.host) {
    printProblems(stderr, reading);
    return kLauncherFailed;
  }
  const Host& host = *reading.host;
  expectSettings(options.settings, host);
  blockSignals();
  const Time now = wallNow();
  const StateDirectory directory(options.state, options.startTime.value_or(now));
  directory.addSettings(options.settings);
  directory.furnish(host);
  SharedState state(directory.path());
  Environment environment = machineEnvironment(options, layout, host, directory);
  environment.emplace_back(kHostVariable, file);
  for (auto& variable : clockEnvironment(options, state, now)) environment.push_back(variable);
  Processes processes(layout.process);
  ProcessWatch watch(file, directory, processes);
  watch.update(host);
  return runCommand(options.command.empty() ? userShell(options) : options.command, environment,
                    std::ref(watch));
}

int showState(const Options& options) {
  fmt::print("{}", describeState(options.state));
  return 0;
}

int setValues(const Options& options) {
  const SharedState running(options.state);
  const StateDirectory directory(options.state, running->origin);
  // Of the machine's description no more is known here than how many GPUs have a node.
  const std::size_t nodes = directory.gpuNodes();
  Host likeIt;
  likeIt.gpus.resize(nodes == 0 ? kMaxGpus : nodes);
  expectSettings(options.settings, likeIt);
  directory.addSettings(options.settings);
  return 0;
}

int run(const Options& options) {
  const Layout layout = findLayout();
  if (options.check) return checkDescription(findHost(layout, *options.check));
  if (options.list) return listHosts(layout);
  if (options.example) return printExample(layout);
  if (options.showState) return showState(options);
  if (!options.settings.empty() && options.command.empty()) return setValues(options);
  return runOnMachine(options, layout);
}

}  // namespace

}  // namespace zansim

int main(int argc, char** argv) {
  try {
    const zansim::ParsedOptions parsed = zansim::parseOptions(argc, argv);
    const int status = parsed.exitStatus ? *parsed.exitStatus : zansim::run(parsed.options);
    if (std::fflush(stdout) == 0) return status;
    throw std::runtime_error("standard output could not be written");
  } catch (const std::exception& error) {
    // fmt::print() throws where nobody can read it.
    std::fputs(fmt::format("zansim: {}\n", error.what()).c_str(), stderr);
    return zansim::kLauncherFailed;
  }
}
