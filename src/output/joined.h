// Lines made of plain pieces of text, where a format string would cost more than the line.
#pragma once

#include <initializer_list>
#include <ostream>
#include <string_view>

namespace zanctl {

void writeJoined(std::ostream& out, std::initializer_list<std::string_view> pieces);

}  // namespace zanctl
