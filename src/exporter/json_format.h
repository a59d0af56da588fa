// A whole snapshot for scripts.
#pragma once

#include "collector/snapshot.h"

#include <string>

namespace zanctl::exporter {

// An object on several lines, in which what could not be read or was not asked for is null.
std::string writeJson(const collector::Snapshot& snapshot);

}  // namespace zanctl::exporter
