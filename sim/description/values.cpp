#include "description/values.h"

#include "description/operations.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace zansim {

namespace {

constexpr std::string_view kUnavailable = "unavailable";

struct Unit {
  std::string_view name;
  std::uint64_t bytes;
};

constexpr std::array kUnits{Unit{"B", 1ULL},          Unit{"KiB", 1ULL << 10U},
                            Unit{"MiB", 1ULL << 20U}, Unit{"GiB", 1ULL << 30U},
                            Unit{"TiB", 1ULL << 40U}, Unit{"PiB", 1ULL << 50U}};

bool parseInteger(std::string_view text, int base, std::uint64_t& value) {
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  return error == std::errc() && stop == end && !text.empty();
}

bool parseHexOrDecimal(std::string_view text, std::uint64_t& value) {
  if (text.starts_with("0x") || text.starts_with("0X")) {
    return parseInteger(text.substr(2), 16, value);
  }
  return parseInteger(text, 10, value);
}

// "16 GiB", "1.5GiB".
bool parseBytes(std::string_view text, std::uint64_t& value) {
  const std::size_t digits = std::min(text.find_first_not_of("0123456789."), text.size());
  std::string_view unitName = text.substr(digits);
  while (unitName.starts_with(' ')) unitName.remove_prefix(1);
  const auto* unit = std::find_if(kUnits.begin(), kUnits.end(), [&](const Unit& candidate) {
    return candidate.name == unitName;
  });
  double amount = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + digits, amount);
  if (unit == kUnits.end() || error != std::errc() || stop != text.data() + digits) return false;
  const double bytes = amount * static_cast<double>(unit->bytes);
  if (bytes > 0x1p52) return false;
  value = static_cast<std::uint64_t>(std::llround(bytes));
  return true;
}

// "0.85"; each part is taken as the digits stand.
bool parsePair(std::string_view text, std::uint64_t& value) {
  const std::size_t point = text.find('.');
  if (point == std::string_view::npos) return false;
  std::uint64_t first = 0;
  std::uint64_t second = 0;
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
  if (!parseInteger(text.substr(0, point), 10, first) || first > kMost) return false;
  if (!parseInteger(text.substr(point + 1), 10, second) || second > kMost) return false;
  value = packPair(first, second);
  return true;
}

bool parseSpelled(const Json& json, const NumberRule& rule, std::uint64_t& value) {
  if (json.is_boolean()) {
    const std::string_view word = json.get<bool>() ? "true" : "false";
    for (const Word& candidate : rule.words) {
      if (candidate.text == word) return value = candidate.value, true;
    }
    return false;
  }
  if (!json.is_string()) return false;
  const auto& text = json.get_ref<const std::string&>();
  for (const Word& candidate : rule.words) {
    if (candidate.text == text) return value = candidate.value, true;
  }
  switch (rule.form) {
    case Form::bytes:
      return parseBytes(text, value);
    case Form::pair:
      return parsePair(text, value);
    case Form::plain:
      break;
  }
  return text.starts_with("0x") && parseHexOrDecimal(text, value);
}

std::string wanted(const NumberRule& rule) {
  if (rule.form == Form::pair) return "a text like \"8.0\"";
  if (!rule.words.empty()) {
    std::string list;
    for (const Word& word : rule.words) list += fmt::format("\"{}\", ", word.text);
    return "one of " + list + fmt::format("or a number from {} to {}", rule.min, rule.max);
  }
  std::string text = fmt::format("a whole number from {} to {}", rule.min, rule.max);
  if (rule.form == Form::bytes) text += " or a text like \"16 GiB\"";
  return text;
}

bool parseNumber(const Json& json, const NumberRule& rule, std::uint64_t& value) {
  std::uint64_t parsed = 0;
  if (json.is_number_unsigned()) {
    if (rule.form == Form::pair) return false;
    parsed = json.get<std::uint64_t>();
  } else if (!parseSpelled(json, rule, parsed)) {
    return false;
  }
  if (parsed < rule.min || parsed > rule.max) return false;
  value = parsed;
  return true;
}

// A bound or a step of a signal: a number, or whatever the attribute's constants may be.
void readLevel(const Node& node, const NumberRule& rule, double& level) {
  const double value = node.json().is_number() ? node.json().get<double>() : -1;
  // Beyond this a double cannot tell neighbours apart.
  const double most = std::min(static_cast<double>(rule.max), 0x1p52);
  std::uint64_t parsed = 0;
  if (value >= static_cast<double>(rule.min) && value <= most) {
    level = value;
  } else if (parseNumber(node.json(), rule, parsed) && static_cast<double>(parsed) <= most) {
    level = static_cast<double>(parsed);
  } else {
    node.complainExpected(wanted(rule));
  }
}

struct SignalDraft {
  const NumberRule& rule;
  Signal signal;
  bool hasMin = false;
  bool hasMax = false;
};

struct ShapeName {
  std::string_view name;
  Signal::Shape shape;
};

constexpr std::array kShapes{
    ShapeName{"sine", Signal::Shape::sine}, ShapeName{"ramp", Signal::Shape::ramp},
    ShapeName{"steps", Signal::Shape::steps}, ShapeName{"walk", Signal::Shape::walk}};

void readShape(const Node& node, SignalDraft& draft) {
  for (const ShapeName& shape : kShapes) {
    if (isText(node, shape.name)) {
      draft.signal.shape = shape.shape;
      return;
    }
  }
  node.complainExpected("\"sine\", \"ramp\", \"steps\" or \"walk\"");
}

void readSteps(const Node& node, SignalDraft& draft) {
  constexpr std::size_t kMost = 1000;
  if (node.json().empty() || node.json().size() > kMost) {
    return node.complain("expected a list of 1 to 1000 numbers");
  }
  readList(node, "a list of numbers", [&](const Node& element) {
    double level = 0;
    readLevel(element, draft.rule, level);
    draft.signal.values.push_back(level);
  });
}

void readPeriod(const Node& node, SignalDraft& draft) {
  constexpr Time kShortest = kSecond / 1000;
  constexpr Time kLongest = 1'000'000 * kSecond;
  readSeconds(node, draft.signal.period);
  // The bounds keep a thousand periods within the range of a time.
  if (draft.signal.period < kShortest || draft.signal.period > kLongest) {
    node.complain("a period lies between 0.001 and 1000000 seconds");
    draft.signal.period = kSecond;
  }
}

constexpr std::array kSignalKeys{
    Key<SignalDraft>{"signal", readShape},
    Key<SignalDraft>{"min",
                     [](const Node& node, SignalDraft& draft) {
                       draft.hasMin = true;
                       readLevel(node, draft.rule, draft.signal.min);
                     }},
    Key<SignalDraft>{"max",
                     [](const Node& node, SignalDraft& draft) {
                       draft.hasMax = true;
                       readLevel(node, draft.rule, draft.signal.max);
                     }},
    Key<SignalDraft>{"period", readPeriod},
    Key<SignalDraft>{"phase", [](const Node& node,
                                 SignalDraft& draft) { readSeconds(node, draft.signal.phase); }},
    Key<SignalDraft>{"seed",
                     [](const Node& node, SignalDraft& draft) {
                       readInteger(node, 0, std::numeric_limits<std::uint64_t>::max(),
                                   draft.signal.seed);
                     }},
    Key<SignalDraft>{"values", readSteps},
};

void readSignal(const Node& node, const NumberRule& rule, NumberSource& source) {
  if (rule.form == Form::pair) return node.complain("this attribute cannot be a signal");
  SignalDraft draft{.rule = rule, .signal = {}};
  readObject(node, "signal", kSignalKeys, draft);
  if (!node.json().contains("signal")) {
    return node.complain(R"(a signal needs "signal": "sine", "ramp", "steps" or "walk")");
  }
  const bool isSteps = draft.signal.shape == Signal::Shape::steps;
  if (isSteps == draft.signal.values.empty()) {
    return node.complain(isSteps ? "a \"steps\" signal needs \"values\""
                                 : "only a \"steps\" signal has \"values\"");
  }
  if (isSteps == (draft.hasMin || draft.hasMax) || draft.hasMin != draft.hasMax) {
    return node.complain(isSteps ? "a \"steps\" signal has no \"min\" and \"max\""
                                 : "this signal needs \"min\" and \"max\"");
  }
  if (draft.signal.min > draft.signal.max) return node.complain("\"min\" is above \"max\"");
  source = {.kind = NumberSource::Kind::signal,
            .signal = std::make_shared<const Signal>(std::move(draft.signal))};
}

// Whether the value is {FORM: ...}.
bool isForm(const Node& node, const char* form) {
  const bool matches =
      node.json().is_object() && node.json().size() == 1 && node.json().contains(form);
  node.noteKey("value", form, matches);
  return matches;
}

bool isLikeSignal(const Json& json) {
  return std::any_of(kSignalKeys.begin(), kSignalKeys.end(),
                     [&](const auto& key) { return json.is_object() && json.contains(key.name); });
}

}  // namespace

std::optional<nvmlReturn_t> readFailure(const Node& node) {
  if (isText(node, kUnavailable)) return NVML_ERROR_NOT_SUPPORTED;
  if (!isForm(node, "fails")) return std::nullopt;
  nvmlReturn_t code = NVML_ERROR_UNKNOWN;
  readReturnCode(node.member("fails", node.json().front()), code);
  return code;
}

void readNumberSource(const Node& node, const NumberRule& rule, NumberSource& source) {
  if (const auto code = readFailure(node)) {
    source = NumberSource::failing(*code);
  } else if (isForm(node, "raw")) {
    const Node raw = node.member("raw", node.json().front());
    const NumberRule any{.max = std::numeric_limits<std::uint64_t>::max()};
    readNumberSource(raw, any, source);
  } else if (isLikeSignal(node.json())) {
    readSignal(node, rule, source);
  } else if (std::uint64_t value = 0; parseNumber(node.json(), rule, value)) {
    source = NumberSource::constant(value);
  } else {
    const bool mayVary = rule.form != Form::pair;
    node.complainExpected(wanted(rule) + (mayVary ? ", a signal" : "") + " or \"unavailable\"");
  }
}

void readTextSource(const Node& node, std::size_t longest, TextSource& source) {
  if (const auto code = readFailure(node)) {
    source = TextSource::failing(*code);
  } else if (isForm(node, "fill")) {
    source = {.given = true, .fillsBuffer = true};
    readText(node.member("fill", node.json().front()), 1, source.text);
    if (source.text.empty()) node.complain("\"fill\" needs one character");
  } else if (isForm(node, "raw")) {
    source = {.given = true};
    readText(node.member("raw", node.json().front()), 1U << 20U, source.text);
  } else if (node.json().is_string()) {
    source = {.given = true};
    readText(node, longest, source.text);
  } else {
    node.complainExpected("a text or \"unavailable\"");
  }
}

void readReturnCode(const Node& node, nvmlReturn_t& code) {
  std::vector<std::string_view> names;
  for (const auto& [name, value] : kReturnCodeNames) {
    if (isText(node, name)) {
      code = value;
      return;
    }
    names.push_back(name);
  }
  if (node.json().is_string()) {
    const auto& word = node.json().get_ref<const std::string&>();
    const std::string hint = suggestion(word, names);
    return node.complain(
        hint.empty()
            ? fmt::format("unknown return code, expected a number from 1 to 999 or one of {}",
                          fmt::join(names, ", "))
            : "unknown return code" + hint);
  }
  unsigned number = 0;
  readUnsigned(node, 1, 999, number);
  code = static_cast<nvmlReturn_t>(number);
}

void readInteger(const Node& node, std::uint64_t min, std::uint64_t max, std::uint64_t& target) {
  const NumberRule rule{.min = min, .max = max};
  if (!parseNumber(node.json(), rule, target)) node.complainExpected(wanted(rule));
}

void readUnsigned(const Node& node, unsigned min, unsigned max, unsigned& target) {
  std::uint64_t value = target;
  readInteger(node, min, max, value);
  target = static_cast<unsigned>(value);
}

void readGpuIndex(const Node& node, unsigned& index) {
  readUnsigned(node, 0, std::numeric_limits<unsigned>::max(), index);
  node.refersTo(Named::gpu, index);
}

void readBool(const Node& node, bool& target) {
  if (!node.json().is_boolean()) return node.complainExpected("true or false");
  target = node.json().get<bool>();
}

void readText(const Node& node, std::size_t longest, std::string& target) {
  if (!node.json().is_string()) return node.complainExpected("a text");
  const auto& text = node.json().get_ref<const std::string&>();
  if (text.size() > longest) {
    return node.complain(
        fmt::format("a text of {} bytes, the longest is {}", text.size(), longest));
  }
  if (text.find('\0') != std::string::npos) return node.complain("a text holds no NUL");
  target = text;
}

void readSeconds(const Node& node, Time& target) {
  constexpr double kMost = 1e9;
  const double seconds = node.json().is_number() ? node.json().get<double>() : -1;
  if (!(seconds >= 0 && seconds <= kMost)) {
    return node.complainExpected("a number of seconds from 0 to 1000000000");
  }
  target = std::llround(seconds * static_cast<double>(kSecond));
}

void readCpuList(const Node& node, std::vector<unsigned>& cpus) {
  constexpr std::uint64_t kMostCpus = 8192;
  std::string text;
  readText(node, 4096, text);
  if (text.empty()) return;
  std::vector<unsigned> listed;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(',', begin), text.size());
    const std::string_view piece = std::string_view(text).substr(begin, end - begin);
    const std::size_t dash = std::min(piece.find('-'), piece.size());
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    bool good = parseInteger(piece.substr(0, dash), 10, first);
    last = first;
    if (dash < piece.size()) good = good && parseInteger(piece.substr(dash + 1), 10, last);
    if (!good || last < first || last >= kMostCpus || (!listed.empty() && first <= listed.back())) {
      return node.complainExpected("ascending CPU numbers below 8192 like \"0-7,16-23\"");
    }
    for (; first <= last; ++first) listed.push_back(static_cast<unsigned>(first));
    begin = end + 1;
  }
  cpus = std::move(listed);
}

void replaceIndex(std::string& text, std::size_t index) {
  constexpr std::string_view kMark = "{i}";
  for (std::size_t at = text.find(kMark); at != std::string::npos; at = text.find(kMark, at)) {
    text.replace(at, kMark.size(), std::to_string(index));
  }
}

}  // namespace zansim
