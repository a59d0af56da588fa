// Shapes of the raw command line that are refused before it is parsed.
#pragma once

#include <span>
#include <string_view>

namespace zanctl {

bool isHelp(std::string_view argument);

// Whether `argv` holds a bundle or an attached value ("-qx", "-i0"), or a help flag that does not
// stand alone or alone behind a subcommand.
bool hasForbiddenShape(std::span<const char* const> argv);

}  // namespace zanctl
