// Sessions at a shell on simulated machines, each a file of transcripts/:
//
//   @ eight-gpu                        a machine that comes with the simulator,
//   @ three_gpus.json "cpus": 4        one of machines/ with further keys, if any,
//   @ {"gpus": [{}]}                   or one described on the spot
//   @ --uid 1000                       an option of the launcher for the commands to come
//   @ real clock                       lets time pass by itself, "@ virtual clock" no more
//   $ zanctl topo -c 64                a command of the shell, in a directory of the session's own
//   No GPUs were found to have an affinity with CPU 64.
//   [status 0]                         how it ends, behind what it printed
//
// Standard error stands below a line "[errors]", any other line is a remark. vocabulary.sh has what
// several commands need. A new command needs no more than "[status]" below it:
// ZANCTL_UPDATE_GOLDEN=1 in the environment writes what is printed into the files. Read it before
// you commit it.
#include "support/host.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>

namespace zanctl {
namespace {

namespace fs = std::filesystem;

constexpr const char* kTranscripts = ZANCTL_TEST_DATA "/transcripts";

Host machine(const std::string& words) {
  if (words.starts_with('{')) return Host::described(words);
  const std::size_t blank = words.find(' ');
  const std::string name = words.substr(0, blank);
  if (!name.ends_with(".json")) return Host(name);
  return Host::fromFile(name, blank == std::string::npos ? "" : words.substr(blank + 1) + ",");
}

void direct(std::optional<Host>& host, const std::string& words) {
  if (words.ends_with(" clock")) {
    host.value().useClock(words == "real clock" ? Clock::real : Clock::standing);
  } else if (words.starts_with("--")) {
    const std::size_t blank = words.find(' ');
    host.value().launchWith({words.substr(0, blank), words.substr(blank + 1)});
  } else {
    host.reset();
    host.emplace(machine(words));
  }
}

std::string answer(Host& host, const std::string& command) {
  const Outcome run = host.runScript(fmt::format(
      "cd '{}'; . '" ZANCTL_TEST_DATA "/vocabulary.sh'\n{}", host.directory().string(), command));
  return fmt::format("{}{}{}[status {}]\n", run.out, run.err.empty() ? "" : "[errors]\n", run.err,
                     run.status);
}

class Transcript : public testing::TestWithParam<std::string> {};

TEST_P(Transcript, holds) {
  const bool updating = std::getenv("ZANCTL_UPDATE_GOLDEN") != nullptr;
  const fs::path path = fs::path(kTranscripts) / (GetParam() + ".txt");
  std::ifstream lines(path);
  std::optional<Host> host;
  std::string written;
  for (std::string line; std::getline(lines, line);) {
    written += line + "\n";
    if (line.starts_with("@ ")) direct(host, line.substr(2));
    if (!line.starts_with("$ ")) continue;
    const std::string command = line.substr(2);
    std::string expected;
    while (expected.find("[status") == std::string::npos && std::getline(lines, line)) {
      expected += line + "\n";
    }
    const std::string actual = answer(host.value(), command);
    EXPECT_EQ(updating ? actual : expected, actual) << "$ " << command;
    written += actual;
  }
  if (updating) std::ofstream(path) << written;
}

std::vector<std::string> transcripts() {
  std::vector<std::string> names;
  for (const fs::directory_entry& file : fs::directory_iterator(kTranscripts)) {
    names.push_back(file.path().stem());
  }
  std::sort(names.begin(), names.end());
  return names;
}

INSTANTIATE_TEST_SUITE_P(EndToEnd, Transcript, testing::ValuesIn(transcripts()),
                         [](const auto& name) { return name.param; });

}  // namespace
}  // namespace zanctl
