// The health check's command line.
#pragma once

#include "output/option_facts.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace zanctl::health {

// How much memory of a GPU may be in use.
struct MemoryLimit {
  double amount;
  bool isShare;  // of all memory, from 0 to 1; else bytes

  [[nodiscard]] double bytes(std::uint64_t total) const {
    return isShare ? amount * static_cast<double>(total) : amount;
  }
};

struct Options {
  std::optional<std::uint32_t> gpus;            // how many there must be
  std::string uuidFile;                         // which; empty for any
  std::string rememberFile;                     // written instead of checking anything
  std::vector<std::string> only;                // identifiers of the GPUs to check; empty for all
  std::optional<std::uint32_t> maxTemperature;  // C; else the GPU's own thresholds
  std::optional<MemoryLimit> maxMemoryUsed;
  bool idle = false;
  std::chrono::milliseconds timeout{10'000};
  bool quiet = false;
  bool json = false;
  bool help = false;
  bool version = false;
};

// Or what is wrong, in a line without a newline.
std::variant<Options, std::string> parseOptions(std::span<char* const> argv);

std::string helpText();

std::vector<OptionFacts> describeOptions();

}  // namespace zanctl::health
