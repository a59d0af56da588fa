#include "collector/collector.h"
#include "device/text.h"
#include "health/checks.h"
#include "health/options.h"
#include "output/program_start.h"
#include "output/replace_file.h"
#include "output/version.h"
#include "output/voice.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>

namespace zanctl::health {
namespace {

[[gnu::constructor(101)]] void prepareForWantOfMemory() {
  endOnWantOfMemory("zanctl-health: there is not enough memory\n", 3);
}

constexpr std::array kSeverityNames = {"ok", "warning", "critical", "unknown"};

const char* nameOf(Severity severity) { return kSeverityNames[static_cast<std::size_t>(severity)]; }

constexpr int statusOf(Severity severity) { return static_cast<int>(severity); }

constexpr Voice kVoice{.program = "zanctl-health", .failure = statusOf(Severity::unknown)};

// A UUID a line; "#" begins a remark.
std::variant<std::vector<std::string>, std::string> readUuids(const std::string& file) {
  std::ifstream stream(file);
  if (!stream) return fmt::format("{}: {}", file, std::strerror(errno));
  std::vector<std::string> uuids;
  for (std::string line; std::getline(stream, line);) {
    line.erase(std::min(line.find('#'), line.size()));
    const std::size_t begin = line.find_first_not_of(" \t\r");
    if (begin == std::string::npos) continue;
    uuids.push_back(line.substr(begin, line.find_last_not_of(" \t\r") + 1 - begin));
  }
  if (stream.bad() || uuids.empty()) return fmt::format("{}: there is no UUID in it", file);
  return uuids;
}

// Only a whole machine is worth remembering. What is wrong; empty when it was written.
std::string remember(const std::string& file, const collector::Snapshot& snapshot) {
  std::string text;
  for (const collector::Gpu& gpu : snapshot.gpus) {
    if (gpu.state != collector::GpuState::up || gpu.uuid.empty()) {
      return fmt::format("GPU {} does not tell its UUID; {} stays as it was", gpu.index, file);
    }
    text += gpu.uuid + "\n";
  }
  if (text.empty()) return snapshot.problem.empty() ? "there is no GPU" : snapshot.problem;
  return replaceFile(file, text);
}

std::string subjectOf(const Problem& problem) {
  if (!problem.gpu) return problem.uuid.empty() ? "" : fmt::format("GPU {} ", problem.uuid);
  return problem.uuid.empty() ? fmt::format("GPU {} ", *problem.gpu)
                              : fmt::format("GPU {} ({}) ", *problem.gpu, problem.uuid);
}

std::string textOf(const std::vector<Problem>& problems, std::uint32_t gpus) {
  if (problems.empty()) return fmt::format("ok: {} GPU{}\n", gpus, gpus == 1 ? "" : "s");
  std::string text;
  for (const Problem& problem : problems) {
    text += cleanText(
        fmt::format("{}: {}{}", nameOf(problem.severity), subjectOf(problem), problem.text));
    text += '\n';
  }
  return text;
}

std::string jsonOf(const std::vector<Problem>& problems, std::uint32_t gpus) {
  using Json = nlohmann::ordered_json;
  Json object = {{"status", statusOf(worst(problems))},
                 {"severity", nameOf(worst(problems))},
                 {"gpu_count", gpus},
                 {"problems", Json::array()}};
  for (const Problem& problem : problems) {
    object["problems"].push_back(
        {{"severity", nameOf(problem.severity)},
         {"gpu", problem.gpu ? Json(*problem.gpu) : Json(nullptr)},
         {"uuid", problem.uuid.empty() ? Json(nullptr) : Json(problem.uuid)},
         {"text", problem.text}});
  }
  return object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

int report(const Options& options, const std::vector<Problem>& problems, std::uint32_t gpus) {
  const int status = statusOf(worst(problems));
  if (options.quiet) return status;
  return kVoice.print(options.json ? jsonOf(problems, gpus) : textOf(problems, gpus), status);
}

// What has nothing to do with the GPUs.
int cannotSay(const Options& options, const std::string& problem, std::uint32_t gpus = 0) {
  if (!options.json) return kVoice.complain(problem);
  return report(options, {{Severity::unknown, std::nullopt, {}, problem}}, gpus);
}

int run(std::span<char* const> argv) {
  const auto parsed = parseOptions(argv);
  if (const auto* problem = std::get_if<std::string>(&parsed)) return kVoice.complain(*problem);
  const Options& options = std::get<Options>(parsed);
  if (options.help) return kVoice.print(helpText());
  if (options.version) return kVoice.print(fmt::format("zanctl-health {}\n", kVersion));

  std::vector<std::string> expected;
  if (!options.uuidFile.empty()) {
    auto uuids = readUuids(options.uuidFile);
    if (const auto* problem = std::get_if<std::string>(&uuids)) return cannotSay(options, *problem);
    expected = std::get<std::vector<std::string>>(std::move(uuids));
  }
  collector::Collector collector(options.quiet ? collector::LibraryMessages::hidden
                                               : collector::LibraryMessages::shown);
  if (collector.descriptor() < 0) return cannotSay(options, "there are no descriptors left");
  const collector::Snapshot& snapshot =
      collector.takeRound({.groups = groupsFor(options), .deadline = options.timeout});
  if (options.rememberFile.empty()) {
    return report(options, check(snapshot, options, expected), snapshot.gpuCount);
  }
  const std::string problem = remember(options.rememberFile, snapshot);
  if (!problem.empty()) return cannotSay(options, problem, snapshot.gpuCount);
  return options.json ? report(options, {}, snapshot.gpuCount) : 0;
}

}  // namespace
}  // namespace zanctl::health

int main(int argc, char** argv) {
  zanctl::startProgram();
  return zanctl::health::run({argv, static_cast<std::size_t>(argc)});
}
