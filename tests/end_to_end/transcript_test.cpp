// Sessions at a shell on simulated machines, each a file of transcripts/:
//
//   ## A remark.
//   @ eight-gpu                        a machine that comes with the simulator,
//   @ three_gpus.json "cpus": 4        one of machines/ with further keys, if any,
//   @ {"gpus": [{}]}                   or one described on the spot
//   @ --uid 1000                       an option of the launcher for the commands to come
//   @ real clock                       lets time pass by itself, "@ virtual clock" no more
//   $ zanctl -r                        a command of the shell, in a directory of the session's own
//   & zanctl --reset                   another one that prints the same
//   All done.
//
// Standard error stands below a line "[errors]", and "[status 255]" is the end of what fails.
// vocabulary.sh has what several commands need. What a new command prints is written into the file
// with ZANCTL_UPDATE_GOLDEN=1 in the environment. Read it before you commit it.
#include "support/host.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <optional>
#include <sstream>

namespace zanctl {
namespace {

namespace fs = std::filesystem;

constexpr const char* kTranscripts = ZANCTL_TEST_DATA "/transcripts";
constexpr const char* kHowToAccept =
    "If that is meant: ZANCTL_UPDATE_GOLDEN=1 in the environment writes it.\n";

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

std::vector<std::string> linesOf(std::istream&& text) {
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

// The lines that differ and some around them, as `diff -u` shows them.
std::string difference(const std::string& expected, const std::string& actual) {
  return testing::internal::edit_distance::CreateUnifiedDiff(linesOf(std::istringstream(expected)),
                                                             linesOf(std::istringstream(actual)));
}

std::string answer(Host& host, const std::string& command) {
  const Outcome run = host.runScript(fmt::format("cd '{}'; SAMPLES_TWICE='" ZANCTL_SAMPLES_TWICE
                                                 "'; . '" ZANCTL_TEST_DATA "/vocabulary.sh'\n{}",
                                                 host.directory().string(), command));
  std::string text = run.out;
  if (!text.empty() && text.back() != '\n') text += "[no newline]\n";
  if (!run.err.empty()) text += "[errors]\n" + run.err;
  return run.status == 0 ? text : text + fmt::format("[status {}]\n", run.status);
}

bool isDirective(const std::string& line) {
  return line.starts_with("## ") || line.starts_with("@ ") || line.starts_with("$ ");
}

class Transcript : public testing::TestWithParam<std::string> {};

TEST_P(Transcript, holds) {
  const fs::path path = fs::path(kTranscripts) / (GetParam() + ".txt");
  const std::vector<std::string> lines = linesOf(std::ifstream(path));
  std::optional<Host> host;
  std::string written;
  for (std::size_t i = 0; i < lines.size();) {
    const std::string& line = lines[i++];
    written += line + "\n";
    if (line.starts_with("@ ")) direct(host, line.substr(2));
    if (!line.starts_with("$ ")) continue;
    const int place = static_cast<int>(i);
    std::vector<std::string> commands = {line.substr(2)};
    for (; i < lines.size() && lines[i].starts_with("& "); ++i) {
      commands.push_back(lines[i].substr(2));
      written += lines[i] + "\n";
    }
    std::string expected;
    while (i < lines.size() && !isDirective(lines[i])) expected += lines[i++] + "\n";
    if (updatesGolden()) expected.clear();
    for (const std::string& command : commands) {
      const std::string actual = answer(host.value(), command);
      // Never played twice, since some leave their traces.
      if (updatesGolden() && command == commands[0]) expected = actual;
      if (expected == actual) continue;
      ADD_FAILURE_AT(path.c_str(), place) << "$ " << command << "\n"
                                          << difference(expected, actual) << kHowToAccept;
    }
    written += expected;
  }
  if (updatesGolden()) std::ofstream(path) << written;
}

std::vector<std::string> transcripts() {
  std::vector<std::string> names;
  for (const fs::directory_entry& file : fs::directory_iterator(kTranscripts)) {
    names.push_back(file.path().stem());
  }
  std::sort(names.begin(), names.end());
  return names;
}

INSTANTIATE_TEST_SUITE_P(, Transcript, testing::ValuesIn(transcripts()),
                         [](const auto& name) { return name.param; });

}  // namespace
}  // namespace zanctl
