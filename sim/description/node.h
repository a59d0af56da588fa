// A value of a description together with its place, so that every complaint can name it.
#pragma once

#include "description/value.h"

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zansim {

class Node {
 public:
  // Complaints are added to `problems`.
  Node(const Value& value, std::vector<Problem>& problems) : value_(value), problems_(problems) {}

  const Value& value() const { return value_; }
  template <typename Type>
  const Type* as() const {
    return value_.as<Type>();
  }
  bool isText(std::string_view text) const;
  bool isObject() const { return as<Value::Object>() != nullptr; }

  // A member or an element; this node and the key must outlive it.
  Node member(const Member& member) const { return {member.value, this, member.key, 0}; }
  Node element(std::size_t index, const Value& value) const { return {value, this, {}, index}; }

  // The JSON pointer to this value.
  std::string place() const;

  // Notes that something is wrong here.
  void complain(std::string_view reason) const;

  // Whether a complaint about this description holds this text.
  bool isSaid(std::string_view text) const;

  // Notes that this value is none of what is wanted, and says what it is.
  void complainExpected(std::string_view wanted) const;

 private:
  Node(const Value& value, const Node* parent, std::string_view key, std::size_t index)
      : value_(value), problems_(parent->problems_), parent_(parent), key_(key), index_(index) {}

  const Value& value_;
  std::vector<Problem>& problems_;
  const Node* parent_ = nullptr;
  std::string_view key_;
  std::size_t index_ = 0;
};

// The members of an object, each asked for by its key.
class Members {
 public:
  explicit Members(const Node& object);

  bool has(std::string_view key) const { return find(key) != nullptr; }

  // Calls `reader(member, arguments...)` when there is such a member, and tells whether there is.
  template <typename Read, typename... Arguments>
  bool read(std::string_view key, Read reader, Arguments&&... arguments) {
    known_.push_back(key);
    const Member* const member = find(key);
    if (member != nullptr) {
      std::invoke(reader, object_.member(*member), std::forward<Arguments>(arguments)...);
    }
    return member != nullptr;
  }

  // Complains about the members that nobody has asked for.
  void refuseOthers() const;

 private:
  const Member* find(std::string_view key) const;

  const Node& object_;
  const Value::Object& members_;
  std::vector<std::string_view> known_;
};

// Reads an object: `read(members)` asks for all that it may have. Complains when the value is no
// object.
template <typename Read>
void readObject(const Node& node, Read read, std::string_view what = "an object") {
  if (!node.isObject()) return node.complainExpected(what);
  Members members(node);
  read(members);
  members.refuseOthers();
}

// Calls `read(element)` for each element of a list.
template <typename Read>
void readList(const Node& node, std::string_view what, Read read) {
  const auto* const list = node.as<Value::List>();
  if (list == nullptr) return node.complainExpected(what);
  for (std::size_t i = 0; i < list->size(); ++i) read(node.element(i, (*list)[i]));
}

// ", did you mean ...?" for the nearest of the names, or nothing when none is near.
std::string suggestion(std::string_view word, std::span<const std::string_view> known);

}  // namespace zansim
