#include "description/json_text.h"

#include <algorithm>
#include <functional>
#include <set>

namespace zansim {

namespace {

constexpr int kDeepest = 32;

std::size_t lineAt(std::string_view text, std::size_t offset) {
  const auto* const end = text.begin() + std::min(offset, text.size());
  return 1 + static_cast<std::size_t>(std::count(text.begin(), end, '\n'));
}

// Watches the parser for what it would let pass.
class Watch {
 public:
  bool operator()(int depth, Json::parse_event_t event, Json& parsed) {
    if (!reason_.empty()) return false;
    if (event == Json::parse_event_t::object_start) {
      keys_.resize(std::max(keys_.size(), static_cast<std::size_t>(depth) + 1));
      keys_[static_cast<std::size_t>(depth)].clear();
    }
    if (depth > kDeepest) reason_ = "nested more than 32 levels deep";
    if (event == Json::parse_event_t::key) {
      // The key of an object at depth d is announced at depth d + 1.
      auto& keys = keys_[static_cast<std::size_t>(depth) - 1];
      const auto& key = parsed.get_ref<const std::string&>();
      if (!keys.insert(key).second) {
        reason_ = "the key \"" + key + "\" stands twice in one object";
        quoted_ = '"' + key + '"';
      }
    }
    return true;
  }

  const std::string& reason() const { return reason_; }

  // The parser tells no position; the last mention of the key is near enough.
  std::size_t line(std::string_view text) const {
    const std::size_t at = quoted_.empty() ? 0 : text.rfind(quoted_);
    return lineAt(text, at == std::string_view::npos ? 0 : at);
  }

 private:
  std::vector<std::set<std::string>> keys_;
  std::string reason_;
  std::string quoted_;
};

// Walks valid JSON text value by value.
class Walker {
 public:
  explicit Walker(std::string_view text) : text_(text) {}

  // Moves to the value that the pointer names, as far as it exists.
  std::size_t find(std::string_view pointer) {
    skipBlanks();
    while (!pointer.empty()) {
      pointer.remove_prefix(1);
      const std::size_t end = std::min(pointer.find('/'), pointer.size());
      const std::size_t before = at_;
      if (!enter(unescaped(pointer.substr(0, end)))) return before;
      pointer.remove_prefix(end);
    }
    return at_;
  }

 private:
  static std::string unescaped(std::string_view key) {
    std::string text;
    for (std::size_t i = 0; i < key.size(); ++i) {
      if (key[i] == '~' && i + 1 < key.size()) {
        text += key[++i] == '0' ? '~' : '/';
      } else {
        text += key[i];
      }
    }
    return text;
  }

  char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }

  void skipBlanks() {
    while (at_ < text_.size() && std::string_view(" \t\r\n:,").find(peek()) < std::string::npos) {
      ++at_;
    }
  }

  std::string_view skipString() {
    const std::size_t begin = at_++;
    while (at_ < text_.size() && peek() != '"') at_ += peek() == '\\' ? 2U : 1U;
    ++at_;
    return text_.substr(begin, at_ - begin);
  }

  void skipValue() {
    std::size_t depth = 0;
    do {
      const char c = peek();
      if (c == '"') {
        skipString();
      } else {
        if (c == '{' || c == '[') ++depth;
        if (c == '}' || c == ']') --depth;
        ++at_;
        const bool scalar = std::string_view("{}[]\", \t\r\n:").find(c) == std::string::npos;
        while (scalar && at_ < text_.size() &&
               std::string_view("{}[]\", \t\r\n:").find(peek()) == std::string::npos) {
          ++at_;
        }
      }
      if (depth > 0) skipBlanks();
    } while (depth > 0 && at_ < text_.size());
    skipBlanks();
  }

  bool enter(const std::string& key) {
    const char open = peek();
    if (open != '{' && open != '[') return false;
    ++at_;
    skipBlanks();
    for (std::size_t index = 0; at_ < text_.size() && peek() != '}' && peek() != ']'; ++index) {
      std::string name = std::to_string(index);
      if (open == '{') {
        name = Json::parse(skipString(), nullptr, false).get<std::string>();
        skipBlanks();
      }
      if (name == key) return true;
      skipValue();
    }
    return false;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

std::optional<SyntaxError> parseJson(std::string_view text, Json& value) {
  Watch watch;
  try {
    value = Json::parse(text, std::ref(watch));
  } catch (const Json::parse_error& error) {
    // The library's message repeats its own name and number before the reason.
    std::string reason = error.what();
    const std::size_t begin = reason.rfind("column ");
    const std::size_t colon = reason.find(": ", begin == std::string::npos ? 0 : begin);
    if (colon != std::string::npos) reason = reason.substr(colon + 2);
    return SyntaxError{lineAt(text, error.byte == 0 ? 0 : error.byte - 1), reason};
  } catch (const Json::out_of_range& error) {
    // A number beyond every range; the message quotes it and tells no position.
    std::string reason = error.what();
    reason = reason.substr(reason.find("] ") + 2);
    const std::size_t quote = reason.find('\'') + 1;
    const std::string number = reason.substr(quote, reason.rfind('\'') - quote);
    return SyntaxError{lineAt(text, text.find(number)), reason};
  }
  if (watch.reason().empty()) return std::nullopt;
  return SyntaxError{watch.line(text), watch.reason()};
}

std::size_t lineOf(std::string_view text, std::string_view place) {
  return lineAt(text, Walker(text).find(place));
}

}  // namespace zansim
