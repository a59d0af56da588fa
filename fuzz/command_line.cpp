// A command line, an argument a line of the input: the check of its shape, the parser and the rules
// on combinations.
#include "cli/grammar.h"
#include "cli/precheck.h"
#include "cli/validation.h"
#include "target.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace zanctl;
using fuzz::expect;

using Arguments = std::vector<std::string>;

bool isForbidden(const Arguments& arguments) {
  std::vector<const char*> argv{"zanctl"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  return hasForbiddenShape(argv);
}

Arguments with(Arguments arguments, const char* more) {
  arguments.emplace_back(more);
  return arguments;
}

bool isBundleOrHelp(const std::string& argument) {
  return argument == "-h" || argument == "--help" ||
         (argument.size() > 2 && argument[0] == '-' && argument[1] != '-');
}

void checkShape(Arguments arguments) {
  const bool forbidden = isForbidden(arguments);
  expect(isForbidden(with(arguments, "-qx")), "a bundle is refused");
  if (arguments.size() > 1) expect(isForbidden(with(arguments, "-h")), "help stands alone");
  const auto odd = std::remove_if(arguments.begin(), arguments.end(), isBundleOrHelp);
  const bool hasOdd = odd != arguments.end();
  expect(hasOdd || !forbidden, "nothing but bundles and help is refused");
  arguments.erase(odd, arguments.end());
  expect(!isForbidden(arguments), "nothing but bundles and help is refused");
}

std::vector<const std::string*> valuesOf(const CommandOptions& o) {
  // clang-format off
  return {&o.id, &o.filename, &o.display, &o.loop, &o.queryGpu, &o.format, &o.ceMask, &o.dmon.id,
          &o.dmon.delay, &o.dmon.count, &o.dmon.options, &o.dmon.filename, &o.pmon.id, &o.pmon.delay,
          &o.pmon.count, &o.pmon.options, &o.pmon.filename, &o.topo.id, &o.topo.cpu,
          &o.topo.nearestGpus, &o.topo.p2pStatus, &o.vgpu.id, &o.vgpu.loop, &o.stats.id,
          &o.stats.filename, &o.stats.display, &o.stats.count, &o.daemon.id, &o.daemon.delay,
          &o.daemon.path, &o.daemon.join, &o.replay.id, &o.replay.begin, &o.replay.end,
          &o.replay.filename, &o.queryComputeApps};
  // clang-format on
}

// Whether the command line holds the value, as an argument of its own or behind "--name=".
bool holds(const Arguments& arguments, const std::string& value) {
  return std::any_of(arguments.begin(), arguments.end(), [&value](const std::string& argument) {
    const std::size_t equals = argument.find('=');
    return argument == value || (argument.starts_with("--") && equals != std::string::npos &&
                                 argument.substr(equals + 1) == value);
  });
}

void checkParsing(const Arguments& arguments) {
  CommandOptions options;
  std::vector<const char*> argv{"zanctl"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  std::ostringstream out;
  Grammar grammar(options, argv, out, out);
  if (grammar.parse()) return expect(!out.str().empty(), "a refusal is explained");
  for (const std::string* value : valuesOf(options)) {
    const bool optional = value == &options.loop || value == &options.vgpu.loop;
    if (!given(*value) || (optional && value->empty())) continue;
    expect(holds(arguments, *value), "a value is one that was given");
  }
  const int status = validateCommandLine(grammar, options, out);
  expect((status == 0) == out.str().empty(), "a refusal is explained");
}

}  // namespace

void fuzz::examine(std::string_view input) {
  Arguments arguments;
  forEachPiece(input, '\n', [&arguments](std::string_view argument) {
    arguments.emplace_back(argument.substr(0, argument.find('\0')));
  });
  checkShape(arguments);
  if (!isForbidden(arguments)) checkParsing(arguments);
}
