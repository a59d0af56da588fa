// How numbers, texts and durations are written in a description. Every reader leaves its target
// as it was when the value is wrong, and complains.
#pragma once

#include "description/attributes.h"
#include "description/node.h"
#include "description/source.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zansim {

// A constant, a signal, "unavailable", {"fails": CODE} or {"raw": NUMBER}, which knows no range.
void readNumberSource(const Node& node, const NumberRule& rule, NumberSource& source);

// A text, "unavailable", {"fails": CODE}, {"raw": TEXT} or {"fill": CHARACTER}. A text is at most
// `longest` bytes long.
void readTextSource(const Node& node, std::size_t longest, TextSource& source);

// Of the texts of a GPU. Longer ones than the library's buffers take are {"raw": TEXT}.
constexpr std::size_t kLongestText = 255;

// "unavailable" or {"fails": CODE}: what an attribute or a group of them may be instead of having
// a value. Empty when the value is neither; one that is a wrong {"fails"} complains and answers
// NVML_ERROR_UNKNOWN.
std::optional<nvmlReturn_t> readFailure(const Node& node);

// A return code, by number (1 to 999) or by name.
void readReturnCode(const Node& node, nvmlReturn_t& code);

// Plain numbers and texts, which can be no signal.
void readInteger(const Node& node, std::uint64_t min, std::uint64_t max, std::uint64_t& target);
void readUnsigned(const Node& node, unsigned min, unsigned max, unsigned& target);
void readBool(const Node& node, bool& target);
void readText(const Node& node, std::size_t longest, std::string& target);

// The number, or the list of numbers, of things of which the machine has so many.
void readIndices(const Node& node, std::string_view what, std::size_t count,
                 std::vector<unsigned>& indices);
// Complains when the machine does not have the thing of this number, and tells whether it has.
bool expectIndex(const Node& node, std::string_view what, std::size_t count, unsigned index);

// Seconds, whole or fractional.
void readSeconds(const Node& node, double min, double max, Time& target);
constexpr double kMostSeconds = 1e9;  // some thirty years

// "0-3,8" as ascending numbers.
void readCpuList(const Node& node, std::vector<unsigned>& cpus);

// The words that stand for values, as a message lists them.
std::string listed(std::vector<std::string> words);

template <typename Type, std::size_t Size>
void readWord(const Node& node, const std::pair<std::string_view, Type> (&words)[Size],
              Type& target) {
  std::vector<std::string> names;
  for (const auto& [name, value] : words) {
    if (node.isText(name)) {
      target = value;
      return;
    }
    names.emplace_back(name);
  }
  node.complainExpected(listed(std::move(names)));
}

// Every "{i}" replaced by the number.
void replaceIndex(std::string& text, std::size_t index);

}  // namespace zansim
