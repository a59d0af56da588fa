#include "description/value.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>

namespace zansim {

namespace {

using Json = nlohmann::json;

// The text as the parser takes it, character by character. The parser says of nothing where it
// stands, but this says how far it has come.
class CountedText {
 public:
  // NOLINTBEGIN(readability-identifier-naming): names that iterators have
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;
  // NOLINTEND(readability-identifier-naming)

  // Of the character that was taken last.
  struct Line {
    std::size_t number = 1;
    bool ends = false;
  };

  CountedText(const char* at, Line& line) : at_(at), line_(&line) {}

  const char& operator*() const { return *at_; }
  CountedText& operator++() {
    if (line_->ends) ++line_->number;
    line_->ends = *at_++ == '\n';
    return *this;
  }
  bool operator==(const CountedText& other) const { return at_ == other.at_; }

 private:
  const char* at_;
  Line* line_;
};

// The parser's reason without its name, number and position.
std::string plainReason(std::string reason) {
  reason.erase(0, reason.find("] ") + 2);
  if (reason.starts_with("parse error at ")) reason.erase(0, reason.find(": ") + 2);
  constexpr std::size_t kLongest = 200;
  reason.resize(std::min(reason.size(), kLongest));
  std::replace_if(
      reason.begin(), reason.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return reason;
}

// Grows the tree as the parser meets its parts.
class TreeBuilder : public nlohmann::json_sax<Json> {
 public:
  Value build(std::string_view text) {
    const char* const begin = text.data();
    Json::sax_parse(CountedText(begin, line_), CountedText(begin + text.size(), line_), this,
                    Json::input_format_t::json, true, true);
    return std::move(root_);
  }

  bool null() override { return add(nullptr); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(std::int64_t value) override { return add(static_cast<double>(value)); }
  bool number_unsigned(std::uint64_t value) override { return add(value); }
  bool number_float(double value, const std::string&) override { return add(value); }
  bool string(std::string& value) override { return add(std::move(value)); }
  bool binary(Json::binary_t&) override { return false; }
  bool start_object(std::size_t) override { return enter(Value::Object()); }
  bool start_array(std::size_t) override { return enter(Value::List()); }
  bool end_object() override { return leave(); }
  bool end_array() override { return leave(); }
  bool key(std::string& name) override {
    std::get<Value::Object>(open_.back()->data).push_back({std::move(name), {}});
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const Json::exception& error) override {
    throw Problem{line_.number, plainReason(error.what())};
  }

 private:
  Value& place() {
    if (open_.empty()) return root_;
    if (auto* list = std::get_if<Value::List>(&open_.back()->data)) return list->emplace_back();
    return std::get<Value::Object>(open_.back()->data).back().value;
  }
  template <typename Type>
  bool add(Type value) {
    Value& target = place();
    target.data = std::move(value);
    target.line = line_.number;
    return true;
  }
  template <typename Container>
  bool enter(Container container) {
    constexpr std::size_t kDeepest = 32;
    if (open_.size() == kDeepest) throw Problem{line_.number, "nested more than 32 levels deep"};
    // It stays where it is: nothing is added around it until it is left.
    Value& target = place();
    target.data = std::move(container);
    target.line = line_.number;
    open_.push_back(&target);
    return true;
  }
  bool leave() {
    open_.pop_back();
    return true;
  }

  Value root_;
  std::vector<Value*> open_;
  CountedText::Line line_;
};

std::string dumped(const Json& json) {
  return json.dump(-1, ' ', true, Json::error_handler_t::replace);
}

}  // namespace

Value parseValue(std::string_view text) { return TreeBuilder().build(text); }

std::string escaped(const std::string& text) {
  const std::string quoted = dumped(text);
  return quoted.substr(1, quoted.size() - 2);
}

std::string shown(const Value& value) {
  constexpr std::size_t kLongest = 40;
  std::string text = std::visit(
      [](const auto& data) -> std::string {
        using Type = std::decay_t<decltype(data)>;
        if constexpr (std::is_same_v<Type, Value::List>) return "a list";
        if constexpr (std::is_same_v<Type, Value::Object>) return "an object";
        if constexpr (std::is_constructible_v<Json, Type>) return dumped(Json(data));
      },
      value.data);
  if (text.size() <= kLongest) return text;
  text.resize(kLongest);
  return text.append("...");
}

}  // namespace zansim
