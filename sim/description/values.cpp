#include "description/values.h"

#include "description/operations.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace zansim {

namespace {

struct Unit {
  std::string_view name;
  std::uint64_t bytes;
};

constexpr std::array kUnits{Unit{"B", 1ULL},          Unit{"KiB", 1ULL << 10U},
                            Unit{"MiB", 1ULL << 20U}, Unit{"GiB", 1ULL << 30U},
                            Unit{"TiB", 1ULL << 40U}, Unit{"PiB", 1ULL << 50U}};

// The whole text as a number.
template <typename Number, typename... Base>
bool parse(std::string_view text, Number& value, Base... base) {
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base...);
  return error == std::errc() && stop == end;
}

// "16 GiB", "1.5GiB".
bool parseBytes(std::string_view text, std::uint64_t& value) {
  const std::size_t digits = std::min(text.find_first_not_of("0123456789."), text.size());
  const std::size_t unitAt = std::min(text.find_first_not_of(' ', digits), text.size());
  const auto* const unit = std::find_if(kUnits.begin(), kUnits.end(), [&](const Unit& candidate) {
    return candidate.name == text.substr(unitAt);
  });
  double amount = 0;
  if (unit == kUnits.end() || !parse(text.substr(0, digits), amount)) return false;
  const double bytes = amount * static_cast<double>(unit->bytes);
  if (bytes > 0x1p52) return false;
  value = static_cast<std::uint64_t>(std::llround(bytes));
  return true;
}

// "0.85"; each part is taken as the digits stand.
bool parsePair(std::string_view text, std::uint64_t& value) {
  const std::size_t point = text.find('.');
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  if (point == std::string_view::npos || !parse(text.substr(0, point), first) ||
      !parse(text.substr(point + 1), second)) {
    return false;
  }
  value = packPair(first, second);
  return true;
}

bool parseSpelled(const Value& json, const NumberRule& rule, std::uint64_t& value) {
  std::string_view text;
  if (const auto* const truth = json.as<bool>()) text = *truth ? "true" : "false";
  if (const auto* const own = json.as<std::string>()) text = *own;
  for (const Word& word : rule.words) {
    if (word.text == text) return value = word.value, true;
  }
  if (json.as<std::string>() == nullptr) return false;
  if (rule.form == Form::bytes) return parseBytes(text, value);
  if (rule.form == Form::pair) return parsePair(text, value);
  return text.starts_with("0x") && parse(text.substr(2), value, 16);
}

bool parseNumber(const Value& json, const NumberRule& rule, std::uint64_t& value) {
  std::uint64_t parsed = 0;
  if (const auto* const number = json.as<std::uint64_t>(); number && rule.form != Form::pair) {
    parsed = *number;
  } else if (!parseSpelled(json, rule, parsed)) {
    return false;
  }
  if (parsed < rule.min || parsed > rule.max) return false;
  value = parsed;
  return true;
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

std::optional<double> numberOf(const Value& value) {
  if (const auto* const whole = value.as<std::uint64_t>()) return static_cast<double>(*whole);
  if (const auto* const number = value.as<double>()) return *number;
  return std::nullopt;
}

// A bound or a step of a signal: a number, or whatever the attribute's constants may be.
void readLevel(const Node& node, const NumberRule& rule, double& level) {
  std::uint64_t parsed = 0;
  const auto number = numberOf(node.value());
  if (!number && !parseNumber(node.value(), rule, parsed)) {
    return node.complainExpected(wanted(rule));
  }
  const double value = number.value_or(static_cast<double>(parsed));
  // Beyond this a double cannot tell neighbours apart.
  const double most = std::min(static_cast<double>(rule.max), 0x1p52);
  if (value < static_cast<double>(rule.min) || value > most) {
    return node.complainExpected(wanted(rule));
  }
  level = value;
}

void readSteps(const Node& node, const NumberRule& rule, std::vector<double>& steps) {
  readList(node, "a list of numbers",
           [&](const Node& element) { readLevel(element, rule, steps.emplace_back()); });
  constexpr std::size_t kMost = 1000;
  if (steps.empty() || steps.size() > kMost) node.complain("expected a list of 1 to 1000 numbers");
}

void readShape(const Node& node, Signal::Shape& shape) {
  readWord(node,
           {{"sine", Signal::Shape::sine},
            {"ramp", Signal::Shape::ramp},
            {"steps", Signal::Shape::steps},
            {"walk", Signal::Shape::walk}},
           shape);
}

void readSignal(const Node& node, const NumberRule& rule, NumberSource& source) {
  if (rule.form == Form::pair) return node.complain("this attribute cannot be a signal");
  Signal signal;
  readObject(node, [&](Members& members) {
    const bool hasShape = members.read("signal", readShape, signal.shape);
    if (!hasShape) {
      node.complain(R"(a signal needs "signal": "sine", "ramp", "steps" or "walk")");
    }
    const bool hasMin = members.read("min", readLevel, rule, signal.min);
    const bool hasMax = members.read("max", readLevel, rule, signal.max);
    const bool hasValues = members.read("values", readSteps, rule, signal.values);
    // The bounds keep a thousand periods within the range of a time.
    members.read("period", readSeconds, 0.001, 1e6, signal.period);
    members.read("phase", readSeconds, 0, kMostSeconds, signal.phase);
    members.read("seed", readInteger, 0U, kAll64, signal.seed);
    members.read("after", readSeconds, 0, kMostSeconds, signal.after);
    members.read("once", readBool, signal.once);
    // What happens once begins with the machine.
    if (signal.once) signal.after = std::max<Time>(0, signal.after);
    const bool isSteps = signal.shape == Signal::Shape::steps;
    if (hasShape && (isSteps != hasValues || isSteps == hasMin || isSteps == hasMax)) {
      node.complain(isSteps ? "a \"steps\" signal has \"values\", and neither \"min\" nor \"max\""
                            : "this signal has \"min\" and \"max\", and no \"values\"");
    } else if (signal.min > signal.max) {
      node.complain("\"min\" is above \"max\"");
    }
  });
  source = {.kind = NumberSource::Kind::signal,
            .signal = std::make_shared<const Signal>(std::move(signal))};
}

// The member of an object that has this one alone.
std::optional<Node> soleMember(const Node& node, std::string_view key) {
  const auto* const object = node.as<Value::Object>();
  if (object == nullptr || object->size() != 1 || object->front().key != key) return std::nullopt;
  return node.member(object->front());
}

}  // namespace

std::optional<nvmlReturn_t> readFailure(const Node& node) {
  if (node.isText("unavailable")) return NVML_ERROR_NOT_SUPPORTED;
  const auto fails = soleMember(node, "fails");
  if (!fails) return std::nullopt;
  nvmlReturn_t code = NVML_ERROR_UNKNOWN;
  readReturnCode(*fails, code);
  return code;
}

void readNumberSource(const Node& node, const NumberRule& rule, NumberSource& source) {
  if (const auto code = rule.mayFail ? readFailure(node) : std::nullopt) {
    source = NumberSource::failing(*code);
  } else if (const auto raw = soleMember(node, "raw")) {
    readNumberSource(*raw, {.max = kAll64, .mayFail = rule.mayFail}, source);
  } else if (node.isObject()) {
    readSignal(node, rule, source);
  } else if (std::uint64_t value = 0; parseNumber(node.value(), rule, value)) {
    source = NumberSource::constant(value);
  } else {
    node.complainExpected(wanted(rule) + (rule.form != Form::pair ? ", a signal" : "") +
                          (rule.mayFail ? " or \"unavailable\"" : ""));
  }
}

void readTextSource(const Node& node, std::size_t longest, TextSource& source) {
  if (const auto code = readFailure(node)) {
    source = TextSource::failing(*code);
  } else if (const auto fill = soleMember(node, "fill")) {
    source = {.given = true, .fillsBuffer = true};
    readText(*fill, 1, source.text);
    if (source.text.empty()) node.complain("\"fill\" needs one character");
  } else if (const auto raw = soleMember(node, "raw")) {
    source = {.given = true};
    readText(*raw, std::string::npos, source.text);
  } else if (node.as<std::string>() != nullptr) {
    source = {.given = true};
    readText(node, longest, source.text);
  } else {
    node.complainExpected("a text or \"unavailable\"");
  }
}

void readReturnCode(const Node& node, nvmlReturn_t& code) {
  const auto* const word = node.as<std::string>();
  if (word == nullptr) {
    unsigned number = code;
    readUnsigned(node, 1, 999, number);
    code = static_cast<nvmlReturn_t>(number);
    return;
  }
  std::vector<std::string_view> names;
  for (const auto& [name, value] : kReturnCodeNames) {
    if (*word == name) {
      code = value;
      return;
    }
    names.push_back(name);
  }
  const std::string hint = suggestion(*word, names);
  node.complain("unknown return code" +
                (hint.empty() ? fmt::format(", expected a number from 1 to 999 or one of {}",
                                            fmt::join(names, ", "))
                              : hint));
}

void readInteger(const Node& node, std::uint64_t min, std::uint64_t max, std::uint64_t& target) {
  const NumberRule rule{.min = min, .max = max};
  if (!parseNumber(node.value(), rule, target)) node.complainExpected(wanted(rule));
}

void readUnsigned(const Node& node, unsigned min, unsigned max, unsigned& target) {
  std::uint64_t value = target;
  readInteger(node, min, max, value);
  target = static_cast<unsigned>(value);
}

void readBool(const Node& node, bool& target) {
  const auto* const value = node.as<bool>();
  if (value == nullptr) return node.complainExpected("true or false");
  target = *value;
}

void readText(const Node& node, std::size_t longest, std::string& target) {
  const auto* const text = node.as<std::string>();
  if (text == nullptr) return node.complainExpected("a text");
  if (text->size() > longest) {
    return node.complain(
        fmt::format("a text of {} bytes, the longest is {}", text->size(), longest));
  }
  if (text->find('\0') != std::string::npos) return node.complain("a text holds no NUL");
  target = *text;
}

bool expectIndex(const Node& node, std::string_view what, std::size_t count, unsigned index) {
  if (index < count) return true;
  const std::string has = count == 0   ? "none"
                          : count == 1 ? "only 0"
                                       : fmt::format("0 to {}", count - 1);
  node.complain(fmt::format("there is no {} {}, the machine has {}", what, index, has));
  return false;
}

void readIndices(const Node& node, std::string_view what, std::size_t count,
                 std::vector<unsigned>& indices) {
  const auto readOne = [&](const Node& element) {
    unsigned index = 0;
    readUnsigned(element, 0, ~0U, index);
    if (expectIndex(element, what, count, index)) indices.push_back(index);
  };
  const auto* const list = node.as<Value::List>();
  if (list == nullptr) return readOne(node);
  // An empty list would mean every one.
  if (list->empty()) node.complain(fmt::format("the list names no {}", what));
  readList(node, "a list", readOne);
}

void readSeconds(const Node& node, double min, double max, Time& target) {
  const double seconds = numberOf(node.value()).value_or(-1);
  if (seconds < min || seconds > max) {
    return node.complainExpected(fmt::format("a number of seconds from {} to {}", min, max));
  }
  target = std::llround(seconds * static_cast<double>(kSecond));
}

void readCpuList(const Node& node, std::vector<unsigned>& cpus) {
  constexpr unsigned kMostCpus = 8192;
  std::string text;
  readText(node, std::string::npos, text);
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find(',', begin), text.size());
    const std::string_view piece = std::string_view(text).substr(begin, end - begin);
    const std::size_t dash = piece.find('-');
    unsigned first = 0;
    unsigned last = 0;
    const bool good = parse(piece.substr(0, dash), first) &&
                      parse(piece.substr(dash == std::string_view::npos ? 0 : dash + 1), last);
    if (!good || last < first || last >= kMostCpus || (!cpus.empty() && first <= cpus.back())) {
      return node.complainExpected("ascending CPU numbers below 8192 like \"0-7,16-23\"");
    }
    for (; first <= last; ++first) cpus.push_back(first);
    begin = end + 1;
  }
}

std::string listed(std::vector<std::string> words) {
  for (std::string& word : words) word = fmt::format("\"{}\"", word);
  const std::string last = words.back();
  words.pop_back();
  return fmt::format("{} or {}", fmt::join(words, ", "), last);
}

void replaceIndex(std::string& text, std::size_t index) {
  constexpr std::string_view kMark = "{i}";
  for (std::size_t at = text.find(kMark); at != std::string::npos; at = text.find(kMark, at)) {
    text.replace(at, kMark.size(), std::to_string(index));
  }
}

}  // namespace zansim
