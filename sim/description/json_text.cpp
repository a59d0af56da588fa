#include "description/json_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>

namespace zansim {

namespace {

constexpr std::size_t kDeepest = 32;

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

// Walks the text and calls at every value and every key.
class Tour : public nlohmann::json_sax<Json> {
 public:
  void run(std::string_view text) {
    const char* const begin = text.data();
    Json::sax_parse(CountedText(begin, line_), CountedText(begin + text.size(), line_), this,
                    Json::input_format_t::json, true, true);
  }

  bool null() override { return arrive(); }
  bool boolean(bool) override { return arrive(); }
  bool number_integer(std::int64_t) override { return arrive(); }
  bool number_unsigned(std::uint64_t) override { return arrive(); }
  bool number_float(double, const std::string&) override { return arrive(); }
  bool string(std::string&) override { return arrive(); }
  bool binary(Json::binary_t&) override { return arrive(); }
  bool start_object(std::size_t) override { return enter(false); }
  bool start_array(std::size_t) override { return enter(true); }
  bool end_object() override { return leave(); }
  bool end_array() override { return leave(); }
  bool key(std::string& name) override {
    place_.resize(containers_.back().place);
    place_ += '/' + pointerToken(name);
    return visitKey(name);
  }
  bool parse_error(std::size_t, const std::string&, const Json::exception& error) override {
    return visitError(error.what());
  }

 protected:
  // Each answers whether the tour goes on.
  virtual bool visitValue() { return true; }
  virtual bool visitKey(const std::string&) { return true; }
  virtual bool visitContainer() { return true; }
  virtual bool visitError(const std::string&) { return false; }

  const std::string& place() const { return place_; }
  std::size_t line() const { return line_.number; }
  std::size_t depth() const { return containers_.size(); }

 private:
  struct Container {
    std::size_t place;  // the length of its JSON pointer
    bool isList;
    std::size_t size = 0;
  };

  bool arrive() {
    if (!containers_.empty() && containers_.back().isList) {
      place_.resize(containers_.back().place);
      fmt::format_to(std::back_inserter(place_), "/{}", containers_.back().size++);
    }
    return visitValue();
  }
  bool enter(bool isList) {
    if (!arrive()) return false;
    containers_.push_back({.place = place_.size(), .isList = isList});
    return visitContainer();
  }
  bool leave() {
    place_.resize(containers_.back().place);
    containers_.pop_back();
    return true;
  }

  CountedText::Line line_;
  std::string place_;
  std::vector<Container> containers_;
};

// The parser's reason without its name, number and position; bytes that no terminal shows are
// masked.
std::string plainReason(std::string reason) {
  constexpr std::size_t kLongest = 200;
  reason.erase(0, reason.find("] ") + 2);
  if (reason.starts_with("parse error at ")) reason.erase(0, reason.find(": ") + 2);
  if (reason.size() > kLongest) reason = reason.substr(0, kLongest) + "...";
  for (char& c : reason) {
    if (c < ' ' || c > '~') c = '?';
  }
  return reason;
}

// Looks for what the parser refuses, and for what it would let pass.
class Inspection : public Tour {
 public:
  explicit Inspection(Findings& findings) : findings_(findings) {}

  const std::optional<SyntaxError>& error() const { return error_; }

 private:
  bool visitContainer() override {
    keys_.resize(std::max(keys_.size(), depth()));
    keys_[depth() - 1].clear();
    return depth() <= kDeepest || refuse("nested more than 32 levels deep");
  }
  bool visitKey(const std::string& name) override {
    const auto [first, isNew] = keys_[depth() - 1].emplace(name, line());
    if (isNew || !findings_.keepsAnother()) return true;
    std::string reason =
        fmt::format("this key stands twice, for the first time in line {}", first->second);
    findings_.problems.push_back({place(), std::move(reason), line()});
    return true;
  }
  bool visitError(const std::string& reason) override { return refuse(plainReason(reason)); }

  bool refuse(std::string reason) {
    error_ = SyntaxError{line(), std::move(reason)};
    return false;
  }

  Findings& findings_;
  std::optional<SyntaxError> error_;
  std::vector<std::map<std::string, std::size_t>> keys_;  // with their lines
};

class LineSearch : public Tour {
 public:
  // In which the lines are written.
  explicit LineSearch(std::map<std::string, std::size_t>& places) : places_(places) {}

 private:
  bool visitValue() override {
    if (const auto found = places_.find(place()); found != places_.end()) found->second = line();
    return true;
  }

  std::map<std::string, std::size_t>& places_;
};

}  // namespace

std::optional<SyntaxError> parseJson(std::string_view text, Json& value, Findings& findings) {
  // The parser takes it for the end.
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
    const auto lines = std::count(text.begin(), text.begin() + nul, '\n');
    return SyntaxError{1 + static_cast<std::size_t>(lines), "a NUL byte"};
  }
  Inspection inspection(findings);
  inspection.run(text);
  if (!inspection.error()) value = Json::parse(text, nullptr, true, true);
  return inspection.error();
}

void findLines(std::string_view text, std::vector<Problem>& problems) {
  std::map<std::string, std::size_t> places;
  for (const Problem& problem : problems) places.emplace(problem.place, 1);
  LineSearch(places).run(text);
  for (Problem& problem : problems) {
    if (problem.line == 0) problem.line = places[problem.place];
  }
}

}  // namespace zansim
