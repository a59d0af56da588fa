// The command line that zanctl accepts: every option and subcommand with its help text.
#pragma once

#include "cli/options.h"

#include <CLI/CLI.hpp>

#include <array>
#include <functional>
#include <span>
#include <string_view>

namespace zanctl {

// Subcommands in the order of dispatch.
inline constexpr std::array kSubcommands = {"dmon",  "pmon",   "topo",  "vgpu",
                                            "stats", "daemon", "replay"};

class Grammar {
 public:
  // Parsing fills `options`, which must outlive the grammar.
  explicit Grammar(CommandOptions& options);
  // The grammar for one command line: a subcommand that it does not name is known without its
  // options, which are most of what there is to build.
  Grammar(CommandOptions& options, std::span<const char* const> argv);

  // Throws CLI::ParseError, which `app().exit()` turns into output and an exit status.
  void parse(std::span<const char* const> argv);

  [[nodiscard]] const CLI::App& app() const { return app_; }
  // The subcommand's own parser, whether it was given or not.
  [[nodiscard]] const CLI::App& subcommand(const char* name) const {
    return *app_.get_subcommand(name);
  }
  [[nodiscard]] bool parsed(const char* name) const { return subcommand(name).parsed(); }

 private:
  using WantsOptions = std::function<bool(std::string_view subcommand)>;
  Grammar(CommandOptions& options, const WantsOptions& wantsOptions);

  CLI::App app_;
};

}  // namespace zanctl
