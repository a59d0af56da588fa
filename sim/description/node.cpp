#include "description/node.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <tuple>

namespace zansim {

namespace {

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

bool Node::isText(std::string_view text) const {
  const auto* const own = as<std::string>();
  return own != nullptr && *own == text;
}

std::string Node::place() const {
  if (parent_ == nullptr) return "";
  const bool inList = parent_->as<Value::List>() != nullptr;
  return parent_->place() + "/" + (inList ? std::to_string(index_) : escaped(std::string(key_)));
}

void Node::complain(std::string_view reason) const {
  const std::string where = place();
  problems_.push_back({value_.line, fmt::format("{}: {}", where.empty() ? "/" : where, reason)});
}

bool Node::isSaid(std::string_view text) const {
  return std::any_of(problems_.begin(), problems_.end(), [&](const Problem& problem) {
    return problem.text.find(text) != std::string::npos;
  });
}

void Node::complainExpected(std::string_view wanted) const {
  complain(fmt::format("expected {}, not {}", wanted, shown(value_)));
}

Members::Members(const Node& object) : object_(object), members_(*object.as<Value::Object>()) {
  for (auto member = members_.begin(); member != members_.end(); ++member) {
    const auto first = std::find_if(members_.begin(), member,
                                    [&](const Member& other) { return other.key == member->key; });
    if (first == member) continue;
    object.member(*member).complain(
        fmt::format("this key stands twice, for the first time in line {}", first->value.line));
  }
}

const Member* Members::find(std::string_view key) const {
  const auto found = std::find_if(members_.begin(), members_.end(),
                                  [&](const Member& member) { return member.key == key; });
  return found == members_.end() ? nullptr : &*found;
}

void Members::refuseOthers() const {
  std::vector<std::string_view> known = known_;
  std::sort(known.begin(), known.end());
  for (const Member& member : members_) {
    if (std::binary_search(known.begin(), known.end(), member.key)) continue;
    std::string hint = suggestion(member.key, known);
    if (hint.empty()) {
      hint = fmt::format(", the keys here are {}", fmt::join(known, ", "));
      // A long list helps once.
      if (object_.isSaid(hint)) hint.clear();
    }
    object_.member(member).complain("unknown key" + hint);
  }
}

std::string suggestion(std::string_view word, std::span<const std::string_view> known) {
  constexpr std::size_t kLongestWord = 64;
  if (word.size() > kLongestWord) return "";
  constexpr std::size_t kShortestStart = 3;
  // So many changes are a slip of the fingers; more are another word.
  const std::size_t slip = word.size() / 3 + (word.size() < 2 * kShortestStart ? 0 : 1);
  std::pair best{slip, std::numeric_limits<std::size_t>::max()};
  std::string_view nearest;
  for (const std::string_view candidate : known) {
    const bool begins = word.size() >= kShortestStart && candidate.starts_with(word);
    const std::pair rank{begins ? 1 : distance(word, candidate), candidate.size()};
    if (rank >= best) continue;
    best = rank;
    nearest = candidate;
  }
  return nearest.empty() ? "" : fmt::format(", did you mean \"{}\"?", nearest);
}

}  // namespace zansim
