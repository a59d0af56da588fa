// What a scraper asks for in its headers.
#pragma once

#include "exporter/text_format.h"

#include <chrono>

namespace zanctl::exporter {

// From the "Accept" header; null without one.
TextFormat formatFor(const char* accept);

// How long a round may take, from the scraper's timeout in seconds; null without one.
std::chrono::milliseconds deadlineFor(const char* timeoutSeconds);

}  // namespace zanctl::exporter
