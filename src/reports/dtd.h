// The document type of the XML report.
#pragma once

#include <string_view>

namespace zanctl {

// The element declarations, without a newline behind the last. They also declare elements that the
// report never holds, which readers of its documents may know from elsewhere.
extern const std::string_view kDtd;

}  // namespace zanctl
