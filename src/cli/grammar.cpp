#include "cli/grammar.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <variant>

namespace zanctl {
namespace {

constexpr const char* kDescription = "Zanthe System Management Interface, zanctl";

enum class Form {
  plain,
  hidden,         // left out of the help listing
  optionalValue,  // may stand without its value, which is then the empty text
};

struct OptionRow {
  const char* names;
  std::variant<std::string*, bool*> target;  // a text option or a flag
  const char* help;
  Form form = Form::plain;
};

// The words of a command line, or all there are.
class Wanted {
 public:
  Wanted() = default;
  explicit Wanted(std::span<const char* const> argv) : argv_(argv) {
    all_ = hasOneOf("-h, --help");
  }

  // Of names that commas and blanks part, whether one stands on the command line.
  [[nodiscard]] bool operator()(std::string_view names) const { return all_ || hasOneOf(names); }

 private:
  [[nodiscard]] bool hasOneOf(std::string_view names) const {
    constexpr std::string_view kGaps = " ,";
    std::size_t end = 0;
    for (std::size_t begin = 0; begin < names.size(); begin = names.find_first_not_of(kGaps, end)) {
      end = std::min(names.find_first_of(kGaps, begin), names.size());
      const std::string_view name = names.substr(begin, end - begin);
      const auto isName = [name](std::string_view argument) {
        return argument.substr(0, argument.find('=')) == name;
      };
      if (std::any_of(argv_.begin(), argv_.end(), isName)) return true;
    }
    return false;
  }

  std::span<const char* const> argv_;
  bool all_ = true;
};

void declare(CLI::App& app, const char* helpText, std::initializer_list<OptionRow> rows,
             const Wanted& wanted = {}) {
  app.get_help_ptr()->description(helpText);
  for (const OptionRow& row : rows) {
    if (!wanted(row.names)) continue;
    CLI::Option* option = nullptr;
    if (bool* const* flag = std::get_if<bool*>(&row.target)) {
      option = app.add_flag(row.names, **flag, row.help);
    } else {
      option = app.add_option(row.names, *std::get<std::string*>(row.target), row.help);
    }
    if (row.form == Form::hidden) option->group("");
    if (row.form == Form::optionalValue) option->expected(0, 1);
  }
}

constexpr const char* kHelp = "Print this help message and exit\n";
constexpr const char* kHelpSentence = "Print this help message and exit.\n";
constexpr const char* kIdList = "Comma separated Enumeration index, PCI bus ID or UUID\n";
constexpr const char* kIdSpecify = "Specify the index, PCI bus ID, or UUID of one or more GPUs\n";

void declareRoot(CLI::App& app, CommandOptions& o, const Wanted& wanted) {
  declare(
      app, kHelpSentence,
      {
          {"-i , --id", &o.id,
           "Target a specific GPU. Comma separated Enumeration index, PCI bus ID or UUID.\n"},
          {"-L, --list-gpus", &o.listGpus,
           "List each of the Zanthe GPUs in the system, along with their UUIDs.\n"},
          {"-q, --query", &o.query,
           "Display GPU or Unit info. Displayed info includes all data listed in\n"
           "the (GPU ATTRIBUTES) or (UNIT ATTRIBUTES) sections of this document.\n"
           "Some devices and/or environments don't support all possible information.\n"
           "Any unsupported data is indicated by a \"N/A\" in the output.\n"
           "By default information for all available GPUs or Units is displayed.\n"
           "Use the -i option to restrict the output to a single GPU or Unit.\n"},
          {"-f, --filename", &o.filename,
           "Redirect query output to the specified file in place of the deault stdout.\n"
           "The specified file will be overwritten.\n"},
          {"-x, --xml-format", &o.xmlFormat,
           "Produce XML output in place of the default human-readable format. These are\n"
           "available via the --dtd flag."},
          {"--dtd", &o.dtd, "Use with -x. Embed the DTD in the XML output.\n"},
          {"-d , --display", &o.display,
           "Display only selected information: MEMORY, UTILIZATION, ECC,\n"
           "TEMPERATURE, POWER, CLOCK, COMPUTE, PIDS, PERFORMANCE, PAGE_RETIREMENT.\n"
           "Flags can be combined with comma e.g. \"MEMORY,ECC\".\n"},
          {"-l, --loop", &o.loop,
           "Continuously report query data at the specified interval, rather than\n"
           "the default of just once. The application will sleep in-between queries.\n"
           "If no argument is specified for the -l form a default interval of 5 seconds is used.\n",
           Form::optionalValue},
          {"--query-gpu", &o.queryGpu,
           "Information about GPU. Pass comma separated list of properties you want to query.\n"
           "e.g. --query-gpu=pci.bus_id,pci.device_id --format=csv. Call --help-query-gpu for more "
           "info.\n"},
          {"--help-query-gpu", &o.helpQueryGpu, "--help-query-gpu info.", Form::hidden},
          {"--query-compute-apps", &o.queryComputeApps,
           "List of currently active compute processes. Pass comma separated list of properties "
           "you want to query.\n"
           "e.g. --query-compute-apps=pid,name --format=csv. Call --help-query-compute-apps for "
           "more info.\n"},
          {"--help-query-compute-apps", &o.helpQueryComputeApps, "--help-query-compute-apps info.",
           Form::hidden},
          {"--format", &o.format,
           "Comma separated list of format options:\n"
           "  csv - comma separated values (MANDATORY)\n"
           "  noheader - skip the first line with column headers\n"
           "  nounits - don't print units for numerical values\n"},
          {"-r, --gpu-reset", &o.gpuReset,
           "Trigger a reset of the GPU. Can be used to clear GPU HW and SW state in situations "
           "that would\n"
           "otherwise require a machine reboot. Typically useful if a double bit ECC error has "
           "occurred.\n"
           "Requires -i switch to target specific device. Requires root. There can't be any "
           "applications using\n"
           "this particular device (e.g. CUDA application, graphics application like X server, "
           "monitoring\n"
           "application like other instance of zanctl). There also can't be any compute "
           "applications running\n"
           "on any other GPU in the system."},
          {"--ce, --set-ce-mask", &o.ceMask,
           "Set CE Operation Mask: for every bit 0/disable, 1/enable, only access hex as an valid "
           "input. \n"
           "Current KV Chip support up to 6 CE, only the bit 2 to bit 7 are valid to set to 1, e.g "
           "0x02,0x7E. \n"
           "Requires root. There can't be any applications using this particular device \n"
           "(e.g. CUDA application, graphics application like X server, monitoring\n"
           "application like other instance of zanctl)\n"},
      },
      wanted);
}

// dmon and pmon differ in their delays alone.
template <typename MonitorOptions>
void declareMonitor(CLI::App& app, MonitorOptions& o, const char* delayHelp) {
  declare(app, kHelp,
          {
              {"-i , --id", &o.id, kIdList},
              {"-d , --delay", &o.delay, delayHelp},
              {"-c , --count", &o.count, "Collect specified number of samples and exit\n"},
              {"-o , --options", &o.options,
               "One or more from the following:\n"
               "    D - Include Date (YYYYMMDD) in scrolling output\n"
               "    T - Include Time (HH:MM:SS) in scrolling output\n"},
              {"-f , --filename", &o.filename, "Log to a specified file, rather than to stdout"},
          });
}

void declareTopo(CLI::App& app, TopoOptions& o) {
  declare(
      app, kHelpSentence,
      {
          {"-m, --matrix", &o.matrix,
           "Display the GPUDirect communication matrix for the system.\n"},
          {"--mp , --matrix_pci", &o.matrixPci,
           "Display the GPUDirect communication matrix for the system (PCI Only).\n"},
          {"-i , --id", &o.id,
           "Enumeration index, PCI bus ID or UUID. Provide comma \n"
           "separated values for more than one device \n"
           "Must be used in conjuction with -n or -p.\n"},
          {"-c , --cpu", &o.cpu, "CPU number for which to display all GPUs with an affinity.\n"},
          {"-n , --nearest_gpus", &o.nearestGpus,
           "Display the nearest GPUs for a given traversal path.\n"
           "   0 = a single PCIe switch on a dual GPU board\n"
           "   1 = a single PCIe switch\n"
           "   2 = multiple PCIe switches\n"
           "   3 = a PCIe host bridge\n"
           "   4 = an on-CPU interconnect link between PCIe host bridges\n"
           "   5 = an SMP interconnect link between NUMA nodes\n"
           "Used in conjunction with -i which must be a single device ID.\n"},
          {"-p , --gpu_path", &o.gpuPath,
           "Display the most direct path traversal for a pair of GPUs.\n"
           "Used in conjunction with -i which must be a pair of device IDs.\n"},
          {"--p2p , --p2pstatus", &o.p2pStatus,
           "Displays the p2p status between the GPUs of a given p2p capability\n"
           "   r - p2p read capability\n"
           "   w - p2p write capability\n"},
      });
}

void declareVgpu(CLI::App& app, VgpuOptions& o) {
  declare(app, kHelp,
          {
              {"-i , --id", &o.id, kIdSpecify},
              {"-q , --query", &o.query, "Display information about currently running vGPUs\n"},
              {"-u , --utilization", &o.utilization,
               "Display GPU engine usage by currently active vGPUs\n"},
              {"-p , --pmon", &o.pmon,
               "Display GPU engine usage by currently active process running in the vGPU VMs\n"},
              {"-s , --supported", &o.supported, "Display supported vGPU types\n"},
              {"-c , --creatable", &o.creatable,
               "Display the vGPU types that can currently be created\n"},
              {"-v , --verbose", &o.verbose,
               "Display detailed information about supported vGPU types or vGPU types that can be "
               "created\n"},
              {"-l , --loop", &o.loop,
               "Display information at the specified time interval in seconds until Ctrl-C is "
               "pressed [default=5 seconds]\n",
               Form::optionalValue},
          });
}

void declareStats(CLI::App& app, StatsOptions& o) {
  declare(app, kHelp,
          {
              {"-i , --id", &o.id, kIdSpecify},
              {"-f , --filename", &o.filename, "Log to a specified file, rather than to stdout\n"},
              {"-d , --display", &o.display,
               "Display specific metric. Provide comma separated values from\n"
               "pwrDraw,temp,memUtil,gpuUtil,encUtil,decUtil,memClk,procClk,violPwr,violThm\n"},
              {"-c , --count", &o.count, "Run for specified number of monitoring cycles and exit"},
          });
}

void declareDaemon(CLI::App& app, DaemonOptions& o) {
  declare(
      app, kHelp,
      {
          {"-i , --id", &o.id, kIdList},
          {"-d , --delay", &o.delay, "Collection delay/interval in seconds [default=10secs]\n"},
          {"-p , --path", &o.path, "Path of directory to write to [default]: /var/log/zanctl\n"},
          {"-j , --join", &o.join, "User provided string to append the log file name\n"},
          {"-t , --term", &o.term, "Terminate Daemon"},
      });
}

void declareReplay(CLI::App& app, ReplayOptions& o) {
  declare(app, kHelp,
          {
              {"-i , --id", &o.id, kIdList},
              {"-f , --filename", &o.filename,
               "Complete path of the log filename to replay/extract [mandatory]\n"},
              {"-b , --begin", &o.begin, "Start time (HH:MM:SS). [default=0] for start of file\n"},
              {"-e , --end", &o.end, "End timestamp (HH:MM:SS). [default=0] for end of file"},
          });
}

struct SubcommandRow {
  const char* name;
  const char* group;
  const char* description;
  void (*declareOptions)(CLI::App&, CommandOptions&);
};

constexpr std::array<SubcommandRow, kSubcommands.size()> kSubcommandRows = {{
    {"dmon", "Device Monitoring",
     "Displays device stats in scrolling format. \"zanctl dmon -h\" for more information.",
     [](CLI::App& app, CommandOptions& o) {
       declareMonitor(app, o.dmon, "Collection delay/interval in seconds [default=1sec]\n");
     }},
    {"daemon", "Device Monitoring",
     "Runs in background and monitor devices as a daemon process. \"zanctl daemon -h\" for more "
     "information.",
     [](CLI::App& app, CommandOptions& o) { declareDaemon(app, o.daemon); }},
    {"replay", "Device Monitoring",
     "Replay the persistent stats generated by daemon. \"zanctl replay -h\" for more information.",
     [](CLI::App& app, CommandOptions& o) { declareReplay(app, o.replay); }},
    {"pmon", "Process Monitoring",
     "Displays process stats in scrolling format. \"zanctl pmon -h\" for more information.",
     [](CLI::App& app, CommandOptions& o) {
       declareMonitor(app, o.pmon,
                      "Collection delay/interval in seconds [default=1sec, max=10secs]\n");
     }},
    {"topo", "TOPOLOGY",
     "Displays device/system topology. \"zanctl topo -h\" for more information.",
     [](CLI::App& app, CommandOptions& o) { declareTopo(app, o.topo); }},
    {"vgpu", "GRID vGPU", "Displays vGPU information. \"zanctl vgpu -h\" for more information.",
     [](CLI::App& app, CommandOptions& o) { declareVgpu(app, o.vgpu); }},
    {"stats", "STATISTICS", "Displays device statistics. \"zanctl stats -h\" for more information.",
     [](CLI::App& app, CommandOptions& o) { declareStats(app, o.stats); }},
}};

bool isEmptyAttachedValue(const char* argument) {
  const std::size_t length = std::strlen(argument);
  return std::strncmp(argument, "--", 2) == 0 && length > 3 && argument[length - 1] == '=' &&
         std::strchr(argument, '=') == argument + length - 1;
}

// Building the options is what starting the program costs most, so it is done for those that are
// wanted; of a subcommand for all, since its runner may ask for its help.
void build(CLI::App& app, CommandOptions& options, const Wanted& wanted) {
  for (const SubcommandRow& row : kSubcommandRows) {
    if (!wanted(row.name)) continue;
    CLI::App* const subcommand = app.add_subcommand(row.name, row.description);
    subcommand->group(row.group);
    row.declareOptions(*subcommand, options);
  }
  declareRoot(app, options, wanted);
}

// CLI11 takes the argument behind "--name=" for its value, so the empty value is spelled out.
std::vector<std::string> spelledOut(std::span<const char* const> argv) {
  std::vector<std::string> arguments;
  for (const char* argument : argv) {
    if (isEmptyAttachedValue(argument)) {
      arguments.emplace_back(argument, std::strlen(argument) - 1);
      arguments.emplace_back();
    } else {
      arguments.emplace_back(argument);
    }
  }
  return arguments;
}

CommandFacts factsOf(const CLI::App& app) {
  CommandFacts command{app.get_name(), app.get_description(), {}};
  for (const CLI::Option* option : app.get_options()) {
    OptionFacts facts{{},
                      option->get_description(),
                      option->get_items_expected_max() != 0,
                      option->get_items_expected_min() == 0};
    for (const std::string& name : option->get_snames()) facts.names.push_back("-" + name);
    for (const std::string& name : option->get_lnames()) facts.names.push_back("--" + name);
    command.options.push_back(std::move(facts));
  }
  return command;
}

}  // namespace

struct Grammar::Parser {
  CLI::App app{kDescription};
  std::span<const char* const> argv;
  std::ostream& out;
  std::ostream& errors;

  [[nodiscard]] int exit(const CLI::Error& error) const { return app.exit(error, out, errors); }
};

Grammar::Grammar(CommandOptions& options, std::span<const char* const> argv, std::ostream& out,
                 std::ostream& errors)
    : parser_(new Parser{.argv = argv, .out = out, .errors = errors}) {
  build(parser_->app, options, Wanted(argv));
}

Grammar::~Grammar() = default;

std::optional<int> Grammar::parse() {
  std::vector<std::string> arguments = spelledOut(parser_->argv);
  std::vector<const char*> pointers;
  pointers.reserve(arguments.size());
  for (const std::string& argument : arguments) pointers.push_back(argument.c_str());
  try {
    parser_->app.parse(static_cast<int>(pointers.size()), pointers.data());
  } catch (const CLI::ParseError& error) {
    return parser_->exit(error);
  }
  return std::nullopt;
}

bool Grammar::parsed(const char* subcommand) const {
  const auto given = parser_->app.get_subcommands();
  return std::any_of(given.begin(), given.end(),
                     [subcommand](const CLI::App* app) { return app->get_name() == subcommand; });
}

std::string Grammar::help(const char* subcommand, const std::string& parent) const {
  return parser_->app.get_subcommand(subcommand)->help(parent);
}

int Grammar::refuseCombination() const {
  return parser_->exit(CLI::InvalidError("Invalid combination of input arguments"));
}

int Grammar::refuseLeftOvers() const {
  const std::vector<std::string> arguments = parser_->app.remaining();
  std::string message = arguments.size() > 1 ? "The following arguments were not expected:"
                                             : "The following argument was not expected:";
  if (arguments.empty()) message += " ";
  for (const std::string& argument : arguments) message += " " + argument;
  return parser_->exit(CLI::ExtrasError(message, CLI::ExitCodes::ExtrasError));
}

std::vector<CommandFacts> describeGrammar() {
  CommandOptions options;
  CLI::App app(kDescription);
  build(app, options, Wanted());
  std::vector<CommandFacts> commands = {factsOf(app)};
  commands.front().name.clear();
  for (const CLI::App* subcommand : app.get_subcommands(nullptr)) {
    commands.push_back(factsOf(*subcommand));
  }
  return commands;
}

}  // namespace zanctl
