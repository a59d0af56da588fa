// A value of a description together with its place, so that every complaint can name it.
#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zansim {

// What is wrong with a description. `place` is a JSON pointer.
struct Problem {
  std::string place;
  std::string reason;
};

using Problems = std::vector<Problem>;
using Json = nlohmann::json;

class Node {
 public:
  Node(const Json& value, Problems& problems) : value_(value), problems_(problems) {}

  const Json& json() const { return value_; }

  // A member or an element; the parent and the key must outlive it.
  Node member(std::string_view key, const Json& value) const {
    return {value, problems_, this, key, 0};
  }
  Node element(std::size_t index, const Json& value) const {
    return {value, problems_, this, {}, index};
  }

  // The JSON pointer to this value.
  std::string place() const;

  // Notes that something is wrong here.
  void complain(std::string reason) const;

  // Notes that this value is none of what is wanted, and says what it is.
  void complainExpected(std::string_view wanted) const;

  bool hasProblems() const { return !problems_.empty(); }

 private:
  Node(const Json& value, Problems& problems, const Node* parent, std::string_view key,
       std::size_t index)
      : value_(value), problems_(problems), parent_(parent), key_(key), index_(index) {}

  const Json& value_;
  Problems& problems_;
  const Node* parent_ = nullptr;
  std::string_view key_;
  std::size_t index_ = 0;
};

// A key that an object may have, and how its value is read into a target.
template <typename Target>
struct Key {
  std::string_view name;
  void (*read)(const Node&, Target&);
};

// `unknown` is the key that was met; complains with the nearest of the names that are known.
void complainUnknownKey(const Node& node, std::string_view unknown,
                        std::span<const std::string_view> known);

// ", did you mean ...?" for the nearest of the names, or nothing when none is near.
std::string suggestion(std::string_view word, std::span<const std::string_view> known);

bool isText(const Node& node, std::string_view text);

// Whether the node is an object; complains when it is not.
bool expectObject(const Node& node, std::string_view what = "an object");
bool expectArray(const Node& node, std::string_view what = "a list");

// Reads every member by the key of its name, of which `keys` holds some range.
template <typename Keys, typename Target>
void readObject(const Node& node, const Keys& keys, Target& target) {
  if (!expectObject(node)) return;
  for (const auto& [name, value] : node.json().items()) {
    const Node member = node.member(name, value);
    const Key<Target>* found = nullptr;
    for (const Key<Target>& key : keys) {
      if (key.name == name) found = &key;
    }
    if (found != nullptr) {
      found->read(member, target);
      continue;
    }
    std::vector<std::string_view> known;
    known.reserve(keys.size());
    for (const Key<Target>& key : keys) known.push_back(key.name);
    complainUnknownKey(member, name, known);
  }
}

// Calls `read(element)` for each element of a list.
template <typename Read>
void readList(const Node& node, std::string_view what, Read read) {
  if (!expectArray(node, what)) return;
  std::size_t index = 0;
  for (const Json& value : node.json()) read(node.element(index++, value));
}

}  // namespace zansim
