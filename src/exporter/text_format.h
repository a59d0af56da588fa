// The two text formats of this ecosystem.
#pragma once

#include "exporter/families.h"

#include <string>

namespace zanctl::exporter {

enum class TextFormat {
  prometheus,   // the text format, version 0.0.4
  openMetrics,  // OpenMetrics, version 1.0.0
};

std::string_view contentType(TextFormat format);

std::string writeText(TextFormat format, const Scrape& scrape);

}  // namespace zanctl::exporter
