// How numbers, texts and durations are written in a description. Every reader leaves its target
// as it was when the value is wrong, and complains.
#pragma once

#include "description/attributes.h"
#include "description/node.h"
#include "description/source.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace zansim {

// A constant, a signal, "unavailable", {"fails": CODE} or {"raw": NUMBER}, which knows no range.
void readNumberSource(const Node& node, const NumberRule& rule, NumberSource& source);

// A text, "unavailable", {"fails": CODE}, {"raw": TEXT} or {"fill": CHARACTER}. A text is at most
// `longest` bytes long.
void readTextSource(const Node& node, std::size_t longest, TextSource& source);

// "unavailable" or {"fails": CODE}: what an attribute or a group of them may be instead of having
// a value. Empty when the value is neither; one that is a wrong {"fails"} complains and answers
// NVML_ERROR_UNKNOWN.
std::optional<nvmlReturn_t> readFailure(const Node& node);

// A return code, by number (1 to 999) or by name.
void readReturnCode(const Node& node, nvmlReturn_t& code);

// Plain numbers and texts, which can be no signal.
void readInteger(const Node& node, std::uint64_t min, std::uint64_t max, std::uint64_t& target);
void readUnsigned(const Node& node, unsigned min, unsigned max, unsigned& target);
// The index of a GPU, which the machine must turn out to have.
void readGpuIndex(const Node& node, unsigned& index);
void readBool(const Node& node, bool& target);
void readText(const Node& node, std::size_t longest, std::string& target);

// Seconds, whole or fractional, up to some thirty years.
void readSeconds(const Node& node, Time& target);

// "0-3,8" as ascending numbers.
void readCpuList(const Node& node, std::vector<unsigned>& cpus);

// Every "{i}" replaced by the number.
void replaceIndex(std::string& text, std::size_t index);

}  // namespace zansim
