// The text of a description as a tree in which every value knows its line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zansim {

struct Member;

struct Value {
  using List = std::vector<Value>;
  using Object = std::vector<Member>;  // in the order of the text

  // A whole number that is not negative is a std::uint64_t, any other number a double.
  std::variant<std::nullptr_t, bool, std::uint64_t, double, std::string, List, Object> data;
  std::size_t line = 1;  // counted from 1

  // Null when the value is of another type.
  template <typename Type>
  const Type* as() const {
    return std::get_if<Type>(&data);
  }
};

struct Member {
  std::string key;
  Value value;
};

// What is wrong with a description, and in which line.
struct Problem {
  std::size_t line;
  std::string text;
};

// Reads JSON in which comments, "//" to the end of the line and "/*" to "*/", are blanks. Throws
// the Problem of a text that is none, or is nested more than 32 levels deep.
Value parseValue(std::string_view text);

// A value as it is quoted in a message, shortened; in one line of printable characters.
std::string shown(const Value& value);
// A text without its quotes, in one line of printable characters.
std::string escaped(const std::string& text);

}  // namespace zansim
