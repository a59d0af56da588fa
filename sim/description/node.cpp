#include "description/node.h"

#include <fmt/format.h>

#include <algorithm>

namespace zansim {

namespace {

// A value as it is quoted in a message, shortened.
std::string shown(const Json& value) {
  if (value.is_object()) return "an object";
  if (value.is_array()) return "a list";
  constexpr std::size_t kLongest = 40;
  std::string text = value.dump(-1, ' ', true, Json::error_handler_t::replace);
  if (text.size() > kLongest) text = text.substr(0, kLongest) + "...";
  return text;
}

// The number of single-character changes from one word to the other.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

}  // namespace

bool Findings::keepsAnother() {
  constexpr std::size_t kMost = 1000;
  if (problems.size() < kMost) return true;
  ++furtherProblems;
  return false;
}

std::string pointerToken(std::string_view key) {
  std::string text;
  for (const char c : key) {
    if (c == '~') {
      text += "~0";
    } else if (c == '/') {
      text += "~1";
    } else {
      text += c;
    }
  }
  return text;
}

std::string Node::place() const {
  if (parent_ == nullptr) return "";
  const bool inList = parent_->value_.is_array();
  return parent_->place() + "/" + (inList ? std::to_string(index_) : pointerToken(key_));
}

void Node::complain(std::string reason) const {
  if (findings_.keepsAnother()) findings_.problems.push_back({place(), std::move(reason)});
}

void Node::refersTo(Named what, unsigned number) const {
  findings_.references.push_back({what, number, place()});
}

void Node::noteKey(std::string_view kind, std::string_view key, bool used) const {
  if (findings_.keyUse == nullptr) return;
  findings_.keyUse->known.emplace(kind, key);
  if (used) findings_.keyUse->used.emplace(kind, key);
}

void Node::complainExpected(std::string_view wanted) const {
  complain(fmt::format("expected {}, not {}", wanted, shown(value_)));
}

std::string suggestion(std::string_view word, std::span<const std::string_view> known) {
  constexpr std::size_t kLongestWord = 64;
  if (word.size() > kLongestWord) return "";
  constexpr std::size_t kShortestStart = 3;
  std::string_view nearest;
  // So many changes are a slip of the fingers; more are another word.
  std::size_t best = word.size() / 3 + (word.size() < 2 * kShortestStart ? 1 : 2);
  for (const std::string_view candidate : known) {
    const bool begins = word.size() >= kShortestStart && candidate.starts_with(word);
    const std::size_t changes = begins ? 0 : distance(word, candidate);
    if (changes < best) {
      best = changes;
      nearest = candidate;
    }
  }
  return nearest.empty() ? "" : fmt::format(", did you mean \"{}\"?", nearest);
}

void complainUnknownKey(const Node& node, std::string_view unknown,
                        std::span<const std::string_view> known) {
  const std::string hint = suggestion(unknown, known);
  if (!hint.empty()) return node.complain("unknown key" + hint);
  std::vector<std::string_view> sorted(known.begin(), known.end());
  std::sort(sorted.begin(), sorted.end());
  node.complain(fmt::format("unknown key, the keys here are {}", fmt::join(sorted, ", ")));
}

bool isText(const Node& node, std::string_view text) {
  return node.json().is_string() && node.json().get_ref<const std::string&>() == text;
}

bool expectObject(const Node& node, std::string_view what) {
  if (node.json().is_object()) return true;
  node.complainExpected(what);
  return false;
}

bool expectArray(const Node& node, std::string_view what) {
  if (node.json().is_array()) return true;
  node.complainExpected(what);
  return false;
}

}  // namespace zansim
