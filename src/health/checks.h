// What is wrong with a machine, found in a snapshot of it.
#pragma once

#include "collector/groups.h"
#include "collector/snapshot.h"
#include "health/options.h"

#include <optional>
#include <string>
#include <vector>

namespace zanctl::health {

// The exit statuses of the checks that monitoring systems run.
enum class Severity { well = 0, warning = 1, critical = 2, unknown = 3 };

struct Problem {
  Severity severity;
  std::optional<std::uint32_t> gpu;  // its index
  std::string uuid;                  // empty when unknown
  std::string text;                  // what is wrong with it, or with the machine
};

// The groups that the checks need.
collector::Groups groupsFor(const Options& options);

// The worst first. `expected` are the UUIDs that must be there, by index as they once were.
std::vector<Problem> check(const collector::Snapshot& snapshot, const Options& options,
                           const std::vector<std::string>& expected);

// What is known to be wrong counts more than what could not be found out.
Severity worst(const std::vector<Problem>& problems);

}  // namespace zanctl::health
