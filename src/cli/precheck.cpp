#include "cli/precheck.h"

#include "cli/grammar.h"

#include <algorithm>
#include <string_view>

namespace zanctl {
namespace {

bool isBundle(std::string_view argument) {
  return argument.size() >= 3 && argument[0] == '-' && argument[1] != '-';
}

bool isSubcommand(std::string_view argument) {
  return std::find(kSubcommands.begin(), kSubcommands.end(), argument) != kSubcommands.end();
}

}  // namespace

bool isHelp(std::string_view argument) { return argument == "-h" || argument == "--help"; }

bool hasForbiddenShape(std::span<const char* const> argv) {
  if (std::any_of(argv.begin(), argv.end(), isBundle)) return true;
  if (std::none_of(argv.begin(), argv.end(), isHelp)) return false;
  const bool alone = argv.size() == 2 && isHelp(argv[1]);
  const bool behindSubcommand = argv.size() == 3 && isSubcommand(argv[1]) && isHelp(argv[2]);
  return !alone && !behindSubcommand;
}

}  // namespace zanctl
