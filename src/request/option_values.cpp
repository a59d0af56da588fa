#include "request/option_values.h"

#include "request/options.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <ostream>

namespace zanctl {

int resolveDevices(const std::string& idOption, DeviceSet& selection, std::ostream& out) {
  selection.clear();
  if (!given(idOption)) return 0;
  for (const std::string_view piece : splitAtCommas(idOption)) {
    // An empty piece names nothing: it must not be taken for GPU 0.
    if (piece.empty()) continue;
    const std::int32_t index = resolveDeviceId(piece);
    if (index < 0) {
      selection.clear();
      break;
    }
    selection.insert(index);
  }
  if (!selection.empty()) return 0;
  out << "No device were found\n";
  return -1;
}

std::optional<std::uint64_t> readDelay(const std::string& option, std::uint64_t otherwise,
                                       std::uint64_t longest, std::ostream& out) {
  if (!given(option)) return otherwise;
  const std::int64_t seconds = decimalNumber(option);
  if (seconds >= 1 && static_cast<std::uint64_t>(seconds) <= longest) {
    return static_cast<std::uint64_t>(seconds);
  }
  out << fmt::format("Collection delay/interval should be between 1 second and {} seconds.\n",
                     longest);
  refuseValue(out, "-d, --delay", option);
  return std::nullopt;
}

std::optional<std::uint64_t> readCount(const std::string& option, std::ostream& out) {
  if (!given(option)) return 0;
  const std::int64_t count = decimalNumber(option);
  if (count >= 1) return static_cast<std::uint64_t>(count);
  out << "Invalid value for number of samples to be displayed.\n";
  refuseValue(out, "-c, --count", option);
  return std::nullopt;
}

std::optional<std::uint64_t> readLoop(const std::string& option, std::ostream& out) {
  constexpr std::uint64_t kDefaultSeconds = 5;
  if (!given(option)) return 0;
  if (option.empty()) return kDefaultSeconds;
  const std::int64_t seconds = decimalNumber(option);
  if (seconds >= 1) return static_cast<std::uint64_t>(seconds);
  refusePeriod(out);
  refuseValue(out, "-l, --loop", option);
  return std::nullopt;
}

std::optional<Output> openOutput(const std::string& option, std::ostream& out) {
  Output output(given(option) ? option : "", out);
  if (output.usable()) return output;
  out << fmt::format("Failed to create the log file {}\n", option);
  return std::nullopt;
}

void refusePeriod(std::ostream& out) {
  out << "Provided [-l | --loop=] value is incorrect. Loop frequency must be greater than 0.\n";
}

void refuseValue(std::ostream& out, std::string_view option, const std::string& value) {
  out << fmt::format(
      "The value {} is not an allowed value for {}. Run with --help for more information.\n",
      option, value);
}

std::int64_t decimalNumber(const std::string& text) {
  errno = 0;
  const long long value = std::strtoll(text.c_str(), nullptr, 10);
  return errno == 0 ? value : 0;
}

std::vector<std::string_view> splitAtCommas(std::string_view text) {
  std::vector<std::string_view> pieces;
  for (;;) {
    const std::size_t comma = text.find(',');
    pieces.push_back(text.substr(0, comma));
    if (comma == std::string_view::npos) return pieces;
    text.remove_prefix(comma + 1);
  }
}

}  // namespace zanctl
