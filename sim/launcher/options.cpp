#include "launcher/options.h"

#include "launcher/exit_status.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstring>
#include <iostream>
#include <memory>

#include <time.h>

namespace zansim {

namespace {

constexpr char kDescription[] =
    "Runs a command on a simulated machine with Zanthe GPUs.\n"
    "\n"
    "The command sees the machine's management library, its device nodes, processors, NUMA nodes\n"
    "and processes, and directories of its own in place of /var/run and /var/log/zanctl. Nothing\n"
    "of it needs root or a GPU. Without a command, a shell is opened on the machine.";

constexpr char kFooter[] =
    "\n"
    "Examples:\n"
    "  zansim\n"
    "  zansim -- zanctl\n"
    "  zansim --host large-host -- zanctl -L\n"
    "  zansim --host ./my-host.json --state /tmp/machine -- zanctl dmon -c 5\n"
    "  zansim --uid 1000 -- zanctl -r -i 0\n"
    "  zansim --virtual-clock --start-time \"2024-03-07 09:59:58\" -- zanctl dmon -c 5\n"
    "\n"
    "The exit status is the command's, or 128 and the number of the signal that ended it; 125\n"
    "when the machine could not be set up, 126 when the command cannot be run, 127 when it is not\n"
    "found.";

class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App*, std::string) const override {
    return "\nUsage: zansim [OPTIONS] [-- COMMAND [ARGUMENTS]]\n";
  }
};

void addOptions(CLI::App& app, Options& options) {
  app.add_option("--host", options.host,
                 "The machine: the name of one that comes with zansim (see --list), or the file of "
                 "a description")
      ->type_name("NAME|FILE")
      ->capture_default_str();
  app.add_option("--state", options.state,
                 "Keep the machine's state in this directory. Runs with the same directory share "
                 "one machine; without it each run has its own, which ends with the command")
      ->type_name("DIR");
  app.add_option("--uid", options.uid, "Let the command see this user id as its own")
      ->type_name("N")
      ->check(CLI::Range(0L, 4294967294L));
  app.add_option("--trace", options.trace,
                 "Append a line for each call of the library to this file")
      ->type_name("FILE");
  app.add_option_function<std::string>(
         "--start-time", [&](const std::string& text) { options.startTime = parseLocalTime(text); },
         "Let the command's clock begin at this local time")
      ->type_name("\"YYYY-MM-DD HH:MM:SS\"");
  app.add_flag("--virtual-clock", options.virtualClock,
               "Let time stand still but for waiting: a sleep of the command returns at once and "
               "moves its clock. A command that repeats for ever then never pauses");
  app.add_option("--check", options.check, "Only check a description, and print what is wrong")
      ->type_name("NAME|FILE");
  app.add_flag("--list", options.list, "Only list the machines that come with zansim");
  app.add_flag("--example", options.example,
               "Only print a description that uses every key, with comments, to begin one from");
  app.add_flag("--show-state", options.showState,
               "Only print what the commands on the machine of --state have changed");
  app.add_option(
         "--set", options.settings,
         "Set a value of the machine, such as gpu0.temperature=95, before the command; without "
         "one, "
         "only set it on the machine of --state, whose programs see it at once. gpu0.lost=false "
         "finds a lost GPU again")
      ->type_name("VALUE")
      ->allow_extra_args(false);
}

}  // namespace

Time parseLocalTime(const std::string& text) {
  tm parts = {};
  const char* const end = strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &parts);
  if (end == nullptr || *end != '\0') {
    throw CLI::ValidationError("--start-time",
                               "\"" + text + "\" is no local time like \"2024-03-07 09:59:58\"");
  }
  constexpr int kFirstYear = 1970;
  constexpr int kLastYear = 2261;  // the last whole one that nanoseconds since the epoch reach
  const int year = parts.tm_year + 1900;
  parts.tm_isdst = -1;
  const time_t seconds = mktime(&parts);
  if (year > kLastYear || seconds < 0) {
    throw CLI::ValidationError("--start-time",
                               fmt::format("the machine's clock shows the years {} to {}, not {}",
                                           kFirstYear, kLastYear, year));
  }
  return seconds * kSecond;
}

ParsedOptions parseOptions(int argc, char** argv) {
  ParsedOptions parsed;
  Options& options = parsed.options;
  // Cut here, so that nothing of the command can be taken for an option.
  int own = 1;
  while (own < argc && std::strcmp(argv[own], "--") != 0) ++own;
  if (own < argc) options.command.assign(argv + own + 1, argv + argc);

  CLI::App app(kDescription, "zansim");
  app.footer(kFooter);
  app.formatter(std::make_shared<HelpFormatter>());
  addOptions(app, options);
  try {
    app.parse(own, argv);
  } catch (const CLI::ExtrasError& error) {
    const std::vector<std::string> extras = app.remaining();
    if (extras.front().starts_with('-')) {
      app.exit(error);
    } else {
      std::cerr << "zansim: a command stands behind \"--\": zansim [OPTIONS] -- "
                << CLI::detail::join(extras, " ") << "\n";
    }
    parsed.exitStatus = kLauncherFailed;
    return parsed;
  } catch (const CLI::ParseError& error) {
    const int status = app.exit(error);
    parsed.exitStatus = status == 0 ? 0 : kLauncherFailed;
    return parsed;
  }
  const bool onlySets = !options.settings.empty() && options.command.empty();
  if ((options.showState || onlySets) && options.state.empty()) {
    std::cerr << "zansim: " << (options.showState ? "--show-state" : "--set without a command")
              << " needs --state\nRun with --help for more information.\n";
    parsed.exitStatus = kLauncherFailed;
  }
  return parsed;
}

}  // namespace zansim
