#include "cli/validation.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace zanctl {
namespace {

struct Verdict {
  int status;
  std::string out;
  std::string errors;
};

Verdict validate(const std::string& commandLine) {
  std::istringstream words("zanctl " + commandLine);
  std::vector<std::string> arguments;
  for (std::string word; words >> word;) arguments.push_back(word);
  std::vector<const char*> argv;
  argv.reserve(arguments.size());
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  CommandOptions options;
  std::ostringstream out;
  std::ostringstream errors;
  Grammar grammar(options, argv, out, errors);
  EXPECT_EQ(grammar.parse(), std::nullopt) << commandLine;
  const int status = validateCommandLine(grammar, options, out);
  return {status, out.str(), errors.str()};
}

// The command lines of a list in which semicolons separate them.
std::vector<std::string> commandLines(const std::string& list) {
  std::istringstream pieces(list);
  std::vector<std::string> lines;
  for (std::string line; std::getline(pieces, line, ';');) lines.push_back(line);
  return lines;
}

TEST(Validation, acceptsWhatMakesSense) {
  for (const std::string& line : commandLines(
           "; -l; -l 3 -f out -i 0; -q -i 0; -r -i 0; -r; --ce 0x7E -i 0; -L; --dtd; --dtd -f out; "
           "-q -x --dtd -l 1 -f out; -q -d MEMORY; --help-query-gpu; --help-query-compute-apps; "
           "--query-gpu name --format csv -i 0 -l 1; --format csv; --query-gpu= --format=csv; "
           "--query-compute-apps pid --format csv; dmon -i 0 -d 2; dmon -f out; daemon -t; "
           "replay -f x; -q daemon; daemon replay; topo -m; topo -n 1 -i 0; topo -p -i 0,1; "
           "vgpu; vgpu -q; vgpu -s -v; vgpu -c -v; vgpu -v; vgpu -u -l 1")) {
    const Verdict verdict = validate(line);
    EXPECT_EQ(verdict.status, 0) << line;
    EXPECT_EQ(verdict.out + verdict.errors, "") << line;
  }
}

TEST(Validation, refusesConflictingModes) {
  for (const std::string& line : commandLines(
           "-q -L; -q -r; -r -f out; -r -l 1; -r --ce 1; --ce 1 -f out; -L -i 0; -L -f out; -L -l "
           "1; "
           "--dtd -i 0; --dtd -l 1; -L dmon; -q dmon; -i 0 topo; -f out stats; -l 1 pmon; "
           "--dtd vgpu; -r dmon; --query-gpu name dmon; --dtd --query-gpu name; --help-query-gpu "
           "-i 0; --help-query-compute-apps -i 0; "
           "--help-query-gpu --help-query-compute-apps; --help-query-gpu -q; "
           "--query-gpu name --query-compute-apps pid; -q --query-gpu name; -q --format csv; "
           "-L --query-compute-apps pid; --query-gpu= -L; --help-query-gpu --format csv; "
           "vgpu -q -u; vgpu -u -p; vgpu -s -c; vgpu -q -v; vgpu -v -u; vgpu -c -v -q")) {
    const Verdict verdict = validate(line);
    EXPECT_EQ(verdict.status, -1) << line;
    EXPECT_EQ(verdict.out, "\n") << line;
    EXPECT_EQ(verdict.errors,
              "Invalid combination of input arguments: Too many positional arguments with "
              "unlimited expected args\nRun with --help for more information.\n")
        << line;
  }
}

TEST(Validation, refusesSeveralSubcommandsBeforeAnythingElse) {
  for (const char* line : {"dmon pmon", "-q topo -i 0 stats"}) {
    const Verdict verdict = validate(line);
    EXPECT_EQ(verdict.status, 109) << line;
    EXPECT_EQ(verdict.out, "There are more than 1 subcommand been inputed! \n");
    EXPECT_EQ(verdict.errors,
              "The following argument was not expected: \nRun with --help for more "
              "information.\n");
  }
}

TEST(Validation, refusesReportChoicesInOrder) {
  const std::string head = "Invalid combination of input arguments: ";
  const std::string tail = "Run with --help for more information.\n\n";
  const std::string display = "Specify -q/--query and -d/--display to run a filtered query\n";
  const std::string xml = "Specify -q/--query and -x/--xml-format to run an XML query\n";
  const std::string both = "--display/-d flags can not be combined with -x/--xml-format flags\n";
  for (const auto& [line, reason] :
       std::vector<std::pair<const char*, std::string>>{{"-d MEMORY", display},
                                                        {"-d MEMORY -x", display},
                                                        {"-x", xml},
                                                        {"-x -L", xml},
                                                        {"-q --dtd", xml},
                                                        {"-q --dtd -d MEMORY", xml},
                                                        {"-q -x -d MEMORY", both},
                                                        {"-q -x --dtd --display=", both}}) {
    const Verdict verdict = validate(line);
    EXPECT_EQ(verdict.status, -1) << line;
    EXPECT_EQ(verdict.out, fmt::format("{}{}{}", head, reason, tail)) << line;
  }
}

TEST(Validation, refusesTopologyArgumentsInOrder) {
  for (const auto& [line, message] : std::vector<std::pair<const char*, const char*>>{
           {"topo -p",
            "Path command line flag must be used in conjection with the -i argument which must be "
            "two GPU identifiers.\n\n"},
           {"topo -p -n 1",
            "Path command line flag must be used in conjection with the -i argument which must be "
            "two GPU identifiers.\n\n"},
           {"topo -n 1",
            "Nearest GPUs argument must be used in conjunction with the -i argument which must be "
            "a single identifier.\n"},
           {"topo -i 0",
            "The -i command line argument must be used in conjunction with -n or -p.\n\n"},
           {"topo -i 0 -n 1 -p",
            "The -n commland line argument should not be used in conjunction with -p \n"}}) {
    const Verdict verdict = validate(line);
    EXPECT_EQ(verdict.status, -1) << line;
    EXPECT_EQ(verdict.out, message) << line;
  }
}

}  // namespace
}  // namespace zanctl
