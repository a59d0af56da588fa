// A value of a description together with its place, so that every complaint can name it.
#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace zansim {

using Json = nlohmann::json;

// What is wrong with a description. `place` is a JSON pointer.
struct Problem {
  std::string place;
  std::string reason;
  std::size_t line = 0;  // 0: where the place is
};

// What a description names by number, and only the complete machine can tell to be there.
enum class Named { gpu, numaNode, vgpuType, vgpuInstance };

struct Reference {
  Named what;
  unsigned number;
  std::string place;
};

// The keys that objects may have, and those that a description has, each as "kind of object" and
// "key".
struct KeyUse {
  using Keys = std::set<std::pair<std::string, std::string>>;
  Keys known;
  Keys used;
};

// What comes to light while a description is read, besides the machine.
struct Findings {
  std::vector<Problem> problems = {};
  std::size_t furtherProblems = 0;  // beyond those that are kept
  std::vector<Reference> references = {};
  KeyUse* keyUse = nullptr;  // where somebody wants to know

  // A description that is wrong everywhere is reported as far as anyone will read.
  bool keepsAnother();
};

// A key as a part of a JSON pointer.
std::string pointerToken(std::string_view key);

class Node {
 public:
  Node(const Json& value, Findings& findings) : value_(value), findings_(findings) {}

  const Json& json() const { return value_; }

  // A member or an element; the parent and the key must outlive it.
  Node member(std::string_view key, const Json& value) const {
    return {value, findings_, this, key, 0};
  }
  Node element(std::size_t index, const Json& value) const {
    return {value, findings_, this, {}, index};
  }

  // The JSON pointer to this value.
  std::string place() const;

  // Notes that something is wrong here.
  void complain(std::string reason) const;

  // Notes that this value is none of what is wanted, and says what it is.
  void complainExpected(std::string_view wanted) const;

  // Notes that this value names something.
  void refersTo(Named what, unsigned number) const;

  // Notes that an object of this kind may have the key, and whether the one at hand has it.
  void noteKey(std::string_view kind, std::string_view key, bool used) const;

 private:
  Node(const Json& value, Findings& findings, const Node* parent, std::string_view key,
       std::size_t index)
      : value_(value), findings_(findings), parent_(parent), key_(key), index_(index) {}

  const Json& value_;
  Findings& findings_;
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

// Reads every member by the key of its name. `kind` says what the object stands for.
template <typename Target>
void readObject(const Node& node, std::string_view kind,
                std::type_identity_t<std::span<const Key<Target>>> keys, Target& target) {
  if (!expectObject(node)) return;
  for (const Key<Target>& key : keys) node.noteKey(kind, key.name, node.json().contains(key.name));
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
