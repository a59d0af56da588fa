// A simulated machine to run zanctl on:
//
//   Host host("eight-gpu");
//   const Outcome run = host.run("-i 0 -L");
//
// Time stands still but for sleeping and begins at noon of 7 March 2026 (UTC). A failing test keeps
// the directory of the machine on which it first failed, and names it.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl {

// How time passes on a machine: only while the program sleeps, or by itself.
enum class Clock { standing, real };

struct Outcome {
  int status;  // exit status, or 128 and the signal's number
  std::string out;
  std::string err;
};

class Host {
 public:
  // A machine that comes with the simulator.
  explicit Host(const std::string& name);
  // A machine of one's own, described in JSON.
  static Host described(std::string_view description);
  // The same, from a file of tests/end_to_end/machines, and with further keys such as
  // "\"lost\": [{\"gpu\": 1}],".
  static Host fromFile(const std::string& name, std::string_view furtherKeys = "");
  ~Host();
  Host(Host&& other) noexcept;
  Host& operator=(Host&&) = delete;

  // Options of the launcher for the runs to come, such as {"--uid", "1000"}.
  void launchWith(std::vector<std::string> options) { launchOptions_ = std::move(options); }
  void useClock(Clock clock) { clock_ = clock; }

  // Runs zanctl with arguments as a shell takes them.
  Outcome run(const std::string& arguments);
  // Runs a shell script, to which zanctl is a command.
  Outcome runScript(const std::string& script);

  // How often the last run called each operation.
  [[nodiscard]] std::map<std::string, int> callCounts() const;

  // A directory of the test's own, and the one that holds the machine's state.
  [[nodiscard]] const std::filesystem::path& directory() const { return directory_; }
  [[nodiscard]] std::filesystem::path state() const { return directory_ / "state"; }

 private:
  Host();

  std::filesystem::path directory_;
  std::string machine_;
  std::vector<std::string> launchOptions_;
  Clock clock_ = Clock::standing;
  bool hadFailed_;  // the test, before it came to this machine
};

// The whole file; empty without it.
std::string content(const std::filesystem::path& path);

// Whether ZANCTL_UPDATE_GOLDEN=1 is in the environment: what is printed then takes the place of
// what is expected. Read it before you commit it.
bool updatesGolden();

}  // namespace zanctl
