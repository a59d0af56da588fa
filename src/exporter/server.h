// The exporter as a service.
#pragma once

#include "collector/collector.h"
#include "exporter/options.h"
#include "output/voice.h"

namespace zanctl::exporter {

inline constexpr Voice kVoice{.program = "zanctl-exporter", .failure = 1};

// Answers scrapes until it is told to end. Says what keeps it from starting, or what goes wrong
// later, in lines on standard error; gives the exit status.
int serve(const Options& options, collector::Collector& collector);

}  // namespace zanctl::exporter
