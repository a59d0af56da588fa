// How the texts of the options read that several commands share. What is refused is said on `out`.
#pragma once

#include "device/selection.h"
#include "output/log_file.h"

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl {

// The GPUs of an -i option; every GPU when it was not given. Returns 0, or -1 after saying that a
// piece, or the whole list, names no GPU.
[[nodiscard]] int resolveDevices(const std::string& idOption, DeviceSet& selection,
                                 std::ostream& out);

// A -d option in seconds; `otherwise` when it was not given. Empty when it does not begin with a
// number from 1 to `longest`.
std::optional<std::uint64_t> readDelay(const std::string& option, std::uint64_t otherwise,
                                       std::uint64_t longest, std::ostream& out);

// A -c option: the number of passes, 0 (endless) when it was not given. Empty when it is below 1.
std::optional<std::uint64_t> readCount(const std::string& option, std::ostream& out);

// The -l option of the reports: a period in seconds, 0 when it was not given, 5 when it was given
// without a value. Empty when the value is not a number above 0.
std::optional<std::uint64_t> readLoop(const std::string& option, std::ostream& out);

// Where a -f option sends the output: to `out` when it was not given or its text is empty. Empty
// when the file cannot be opened.
std::optional<Output> openOutput(const std::string& option, std::ostream& out);

// Says that a number of seconds between two passes is too small.
void refusePeriod(std::ostream& out);

// Says that the value of an option, "-x, --long", cannot be used.
void refuseValue(std::ostream& out, std::string_view option, const std::string& value);

// The decimal number at the start of the text; 0 when there is none or it does not fit.
std::int64_t decimalNumber(const std::string& text);

// The pieces between the commas, empty ones included. Views into `text`.
std::vector<std::string_view> splitAtCommas(std::string_view text);

}  // namespace zanctl
