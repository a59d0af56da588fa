#include "exporter/scrape_headers.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <string_view>

namespace zanctl::exporter {
namespace {

constexpr double kUsualTimeout = 10;
constexpr double kLongestTimeout = 600;
constexpr double kReserve = 0.5;  // s, for the way there and back

// What stands before the separator, without blanks and in lower case; takes it from the text.
std::string nextPart(std::string_view& text, char separator) {
  const std::string_view part = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(part.size() + 1, text.size()));
  std::string plain;
  for (const char c : part) {
    if (c != ' ' && c != '\t' && c != '"') {
      plain.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
    }
  }
  return plain;
}

// How much a media range wants each of the formats, from 0 to 1.
struct Wish {
  double openMetrics = 0;
  double prometheus = 0;
};

Wish wishOf(std::string_view range) {
  const std::string type = nextPart(range, ';');
  double quality = 1;
  bool knownVersion = true;
  while (!range.empty()) {
    const std::string parameter = nextPart(range, ';');
    if (parameter.starts_with("q=")) quality = std::strtod(parameter.c_str() + 2, nullptr);
    if (parameter.starts_with("version=")) knownVersion = parameter == "version=1.0.0";
  }
  if (type == "application/openmetrics-text" && knownVersion) return {.openMetrics = quality};
  if (type == "text/plain" || type == "text/*" || type == "*/*") return {.prometheus = quality};
  return {};
}

}  // namespace

TextFormat formatFor(const char* accept) {
  std::string_view ranges = accept == nullptr ? "" : accept;
  Wish best;
  while (!ranges.empty()) {
    const Wish wish = wishOf(nextPart(ranges, ','));
    best.openMetrics = std::max(best.openMetrics, wish.openMetrics);
    best.prometheus = std::max(best.prometheus, wish.prometheus);
  }
  return best.openMetrics > 0 && best.openMetrics >= best.prometheus ? TextFormat::openMetrics
                                                                     : TextFormat::prometheus;
}

std::chrono::milliseconds deadlineFor(const char* timeoutSeconds) {
  double timeout = timeoutSeconds == nullptr ? kUsualTimeout : std::strtod(timeoutSeconds, nullptr);
  if (!std::isfinite(timeout) || timeout <= 0) timeout = kUsualTimeout;
  timeout = std::min(timeout, kLongestTimeout);
  const double seconds = timeout <= 2 * kReserve ? timeout / 2 : timeout - kReserve;
  return std::chrono::milliseconds(std::max(std::lround(seconds * 1000), 1L));
}

}  // namespace zanctl::exporter
