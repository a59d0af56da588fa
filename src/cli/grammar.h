// The command line that zanctl accepts: every option and subcommand with its help text.
#pragma once

#include "output/option_facts.h"
#include "request/options.h"

#include <array>
#include <iosfwd>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl {

// Subcommands in the order of dispatch.
inline constexpr std::array kSubcommands = {"dmon",  "pmon",   "topo",  "vgpu",
                                            "stats", "daemon", "replay"};

struct CommandFacts {
  std::string name;  // empty for the program itself
  std::string help;
  std::vector<OptionFacts> options;
};

// The program itself first, then its subcommands, as the help lists them.
std::vector<CommandFacts> describeGrammar();

class Grammar {
 public:
  // Parsing fills `options`, which must outlive the grammar. The streams take what the parser says.
  // Subcommands that `argv` neither names nor asks to be listed are left out, which are most of
  // what there is to build.
  Grammar(CommandOptions& options, std::span<const char* const> argv, std::ostream& out,
          std::ostream& errors);
  ~Grammar();
  Grammar(const Grammar&) = delete;
  Grammar& operator=(const Grammar&) = delete;

  // Empty to go on. Otherwise the help was shown or a refusal was explained, and this is the exit
  // status.
  [[nodiscard]] std::optional<int> parse();

  [[nodiscard]] bool parsed(const char* subcommand) const;
  // The help of a subcommand, headed by `parent`, the command in front of it.
  [[nodiscard]] std::string help(const char* subcommand, const std::string& parent) const;

  // Explains a refusal that the parser itself did not come to; the exit status of it.
  [[nodiscard]] int refuseCombination() const;
  [[nodiscard]] int refuseLeftOvers() const;

 private:
  struct Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace zanctl
