#include "description/settings.h"

#include "description/values.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <sstream>

namespace zansim {

namespace {

struct Setting {
  unsigned gpu = 0;
  std::string path;  // as that of an attribute
  bool isTakenBack = false;
  Value value;
};

// A text that is no JSON stands for itself.
Value readValue(const std::string& text) {
  try {
    return parseValue(text);
  } catch (const Problem&) {
    return {.data = text};
  }
}

bool parse(const std::string& text, Setting& setting) {
  constexpr std::string_view kStart = "gpu";
  const std::size_t equals = text.find('=');
  if (!text.starts_with(kStart) || equals == std::string::npos) return false;
  const char* const end = text.data() + equals;
  const auto [stop, error] = std::from_chars(text.data() + kStart.size(), end, setting.gpu);
  if (error != std::errc() || stop == end || *stop != '.') return false;
  setting.path.assign(stop + 1, end);
  std::replace(setting.path.begin(), setting.path.end(), '.', '/');
  setting.isTakenBack = equals + 1 == text.size();
  setting.value = readValue(text.substr(equals + 1));
  return true;
}

void setLost(unsigned gpu, bool lost, std::vector<Fault>& faults) {
  for (auto fault = faults.begin(); fault != faults.end();) {
    const bool named = fault->isLoss && std::erase(fault->gpus, gpu) > 0;
    fault = named && fault->gpus.empty() ? faults.erase(fault) : fault + 1;
  }
  if (lost) faults.insert(faults.begin(), lossOf({gpu}));
}

bool setAttribute(const Node& node, const std::string& path, Gpu& gpu) {
  const auto isNamed = [&](const auto& row) { return row.path == path; };
  const auto number = std::find_if(kNumberRows.begin(), kNumberRows.end(), isNamed);
  const auto text = std::find_if(kTextRows.begin(), kTextRows.end(), isNamed);
  if (number != kNumberRows.end()) {
    readNumberSource(node, number->rule,
                     gpu.numbers[static_cast<std::size_t>(number - kNumberRows.begin())]);
  } else if (text != kTextRows.end()) {
    readTextSource(node, kLongestText,
                   gpu.texts[static_cast<std::size_t>(text - kTextRows.begin())]);
  } else {
    return false;
  }
  return true;
}

// Names are written with dots here, and with slashes in the tables.
std::string unknownName(const std::string& path) {
  std::vector<std::string_view> known{"lost"};
  for (const NumberRow& row : kNumberRows) known.push_back(row.path);
  for (const TextRow& row : kTextRows) known.push_back(row.path);
  std::string message =
      fmt::format("a GPU has no \"{}\" that can be set{}", path, suggestion(path, known));
  std::replace(message.begin(), message.end(), '/', '.');
  return message;
}

// The whole value has no place to be named.
std::string onlyProblem(const std::vector<Problem>& problems) {
  constexpr std::string_view kWhole = "/: ";
  if (problems.empty()) return "";
  const std::string& text = problems.front().text;
  return text.starts_with(kWhole) ? text.substr(kWhole.size()) : text;
}

}  // namespace

std::string applySetting(const std::string& text, Host& host) {
  Setting setting;
  if (!parse(text, setting)) return "expected a setting like \"gpu0.temperature=95\"";
  std::vector<Problem> problems;
  const Node node(setting.value, problems);
  if (!expectIndex(node, "GPU", host.gpus.size(), setting.gpu)) return onlyProblem(problems);
  bool lost = false;
  if (setting.path == "lost") {
    readBool(node, lost);
    setLost(setting.gpu, lost, host.faults);
  } else if (!setAttribute(node, setting.path, host.gpus[setting.gpu])) {
    return unknownName(setting.path);
  }
  return setting.isTakenBack ? "" : onlyProblem(problems);
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::string addSetting(const std::string& lines, const std::string& added) {
  const std::string name = added.substr(0, added.find('=') + 1);
  std::string result;
  for (const std::string& line : linesOf(lines)) {
    if (!line.starts_with(name)) result += line + "\n";
  }
  return name == added ? result : result + added + "\n";
}

}  // namespace zansim
